/* SPDX-License-Identifier: Apache-2.0
 * The platform library of a board: its trace facility, and what only that board has. */
int kw_trace_write(unsigned long region, unsigned int level, unsigned short trace_class,
                   unsigned long id, const void* data, int length);
int board_temperature(void);

int kw_trace_write(unsigned long region, unsigned int level, unsigned short trace_class,
                   unsigned long id, const void* data, int length) {
  return region + level + trace_class + id == 0 && data == 0 && length == 0;
}

int board_temperature(void) { return 0; }
