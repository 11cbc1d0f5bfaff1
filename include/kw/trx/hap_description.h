/* SPDX-License-Identifier: Apache-2.0
 * What a HAP expects, in words for those who write tables and read failures. Descriptions stand in
 * a section of the module file that is not loaded: they cost a host nothing, export nothing, and
 * are read from the file by tools. For C and C++; they may stand anywhere outside functions, best
 * in front of the HAP:
 *
 *     ZQM_HAP_ABOUT(PSU_SetVoltage, "Sets the voltage of a rail");
 *     ZQM_HAP_PARA(PSU_SetVoltage, 0, "voltage", "mV", 0, 5500);
 *     ZQM_HAP_ERROR(PSU_SetVoltage, 0x20010, "the voltage is above the limit of the rail");
 *
 * A HAP that is described has no other words, modes and results than those described. Texts are
 * string literals in UTF-8. Numbers are written out, in decimal or as 0x..., or macros for such. */
#ifndef KW_TRX_HAP_DESCRIPTION_H_
#define KW_TRX_HAP_DESCRIPTION_H_

/* One sentence on what the HAP does. */
#define ZQM_HAP_ABOUT(hap, text) ZQM_HAP_DESCRIBE_("about", #hap, ZQM_HAP_TEXT_(text))

/* Parameter word `word`, counted from 0: its name, its unit ("" for none), the least and greatest
 * value, as unsigned 32-bit numbers. */
#define ZQM_HAP_PARA(hap, word, name, unit, least, most)                          \
  ZQM_HAP_DESCRIBE_("para", #hap,                                                 \
                    ZQM_HAP_NUMBER_(word) ZQM_HAP_TEXT_(name) ZQM_HAP_TEXT_(unit) \
                        ZQM_HAP_NUMBER_(least) ZQM_HAP_NUMBER_(most))

/* A text for MODE, "" for none, and what it does. */
#define ZQM_HAP_MODE(hap, mode, text) \
  ZQM_HAP_DESCRIBE_("mode", #hap, ZQM_HAP_TEXT_(mode) ZQM_HAP_TEXT_(text))

/* Result word `word`, counted from 0: its name and unit. */
#define ZQM_HAP_RESULT(hap, word, name, unit) \
  ZQM_HAP_DESCRIBE_("result", #hap, ZQM_HAP_NUMBER_(word) ZQM_HAP_TEXT_(name) ZQM_HAP_TEXT_(unit))

/* An error code that the HAP records, and what it means. */
#define ZQM_HAP_ERROR(hap, code, text) \
  ZQM_HAP_DESCRIBE_("error", #hap, ZQM_HAP_NUMBER_(code) ZQM_HAP_TEXT_(text))

/* A record: texts with 0x1f between them and a NUL at the end. The section has no flags, so nothing
 * maps it; strip keeps it, as it is no debug information. */
#define ZQM_HAP_DESCRIBE_(kind, hap, fields)       \
  __asm__(                                         \
      ".pushsection .zqm_haps,\"\",%progbits\n"    \
      "\t.ascii \"" kind "\\037" hap "\"\n" fields \
      "\t.byte 0\n"                                \
      "\t.popsection\n")
#define ZQM_HAP_TEXT_(text) "\t.ascii \"\\037\"\n\t.ascii " #text "\n"
#define ZQM_HAP_NUMBER_(number) ZQM_HAP_DIGITS_(number)
#define ZQM_HAP_DIGITS_(number) "\t.ascii \"\\037" #number "\"\n"

#endif /* KW_TRX_HAP_DESCRIPTION_H_ */
