/* SPDX-License-Identifier: Apache-2.0
 * A library that a module brings along, with a symbol that nothing defines. */
int definedNowhere(void);
int helped(void);

int helped(void) { return definedNowhere(); }
