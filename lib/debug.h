// SPDX-License-Identifier: Apache-2.0
#ifndef VXP_LIB_DEBUG_H
#define VXP_LIB_DEBUG_H

extern int g_iDebug; // debug level; 0 keeps sysDebug silent

// Write one line to standard error while g_iDebug is non-zero: "vxpd: " and the expanded format, cut at 1023
// characters. The caller supplies the newline. The composed line goes through a second pass in which "%%" becomes
// "%"; nothing else is expanded there, so text from the store or the network is never used as a format.
void sysDebug(const char *strFormat, ...) __attribute__((format(printf, 1, 2)));

#endif
