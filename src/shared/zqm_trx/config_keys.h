// SPDX-License-Identifier: Apache-2.0
// The keys of the configuration, and the words that its values are compared with.
#ifndef KW_TRX_SHARED_CONFIG_KEYS_H_
#define KW_TRX_SHARED_CONFIG_KEYS_H_

namespace kw::trx::trx {

constexpr char kPathFile[] = "/kw/etc/kwpath.conf";
constexpr char kKeyTRXConf[] = "path.trx.conf";

constexpr char kKeyHAPErrMode[] = "hapmodule.loading.err.mode";
constexpr char kKeyHAPNumber[] = "hapmodule.number";
constexpr char kPrefixHAPFile[] = "hapmodule.file.";
constexpr char kKeyHAPNestLimit[] = "hapmodule.nest.exec.limit";
constexpr char kKeyExclusionControl[] = "hapmodule.exec.exclusion.control";
constexpr char kKeyTableErrMode[] = "haptable.loading.err.mode";
constexpr char kKeyTableNumber[] = "haptable.number";
constexpr char kPrefixTableFile[] = "haptable.file.";
constexpr char kKeyTableNestLimit[] = "haptable.nest.exec.limit";
constexpr char kKeyWaitHandler[] = "haptable.tblcmd.wait.handler";

constexpr char kWordContinue[] = "continue";
constexpr char kWordOff[] = "off";
constexpr char kWordRequester[] = "requester";

}  // namespace kw::trx::trx

#endif  // KW_TRX_SHARED_CONFIG_KEYS_H_
