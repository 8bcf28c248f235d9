// SPDX-License-Identifier: Apache-2.0
//
// The administrator's credentials. No login state exists: every request carries and proves them anew.
#ifndef VXP_DAEMON_AUTH_H
#define VXP_DAEMON_AUTH_H

#include <cstdint>

// Check the credentials at the head of a request's body (128 bytes) and keep the user name in g_strCurrentUser.
// True when the request may be served.
bool checkCredentials(const uint8_t *pBody);

// 0 when strPassword is the administrator's, else -1. strUser is not looked at: the password alone authorises, and
// only the user verification request asks for the name.
int sysCheckUser(const char *strUser, const char *strPassword);

// For making a new encrypted password; both texts stand in static buffers until the next call.
char int_to_char(int iValue);                           // 0..63 to crypt's salt alphabet; values beyond give its ends
const char *gen_salt();                                 // 8 characters, another text at each call
const char *gen_password_hash(const char *strPassword); // MD5-based crypt hash ("$1$"); null when crypt has none

#endif
