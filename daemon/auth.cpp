// SPDX-License-Identifier: Apache-2.0
#include "daemon/auth.h"

#include "daemon/request.h"
#include "lib/base64.h"
#include "lib/strings.h"
#include "req_func/bodies.h"
#include "sys/lsqldb.h"

#include <crypt.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <ctime>

namespace
{

constexpr size_t STORED_MAX = 63; // characters of a stored user name or hash

// One character more than may be stored: a value that does not fit shows itself and is never cut into a match.
struct StoredText {
    char str[STORED_MAX + 2] = "";

    explicit StoredText(const char *strField) { LSQLdbGetStr("system", strField, str); }
    bool isWhole() const { return strlen(str) <= STORED_MAX; }
};

} // namespace

bool checkCredentials(const uint8_t *pBody)
{
    Credentials credentials;
    memcpy(&credentials, pBody, sizeof credentials);
    char strPassword[1024];
    base64_decode(g_strCurrentUser, FieldText(credentials.strUser).str);
    base64_decode(strPassword, FieldText(credentials.strPassword).str);
    const bool bAccepted = sysCheckUser(g_strCurrentUser, strPassword) == 0;
    wipe(strPassword);
    return bAccepted;
}

int sysCheckUser(const char *, const char *strPassword)
{
    const StoredText user("username");
    const StoredText hash("encrypted-password");
    if (strcmp(user.str, ADMINISTRATOR) != 0 || !hash.str[0] || !hash.isWhole())
        return -1;
    const char *const strHash = crypt(strPassword, hash.str);
    return strHash && strcmp(strHash, hash.str) == 0 ? 0 : -1;
}

char int_to_char(int iValue)
{
    constexpr char ALPHABET[] = "./0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
    static_assert(sizeof ALPHABET == 64 + 1);
    return ALPHABET[iValue < 0 ? 0 : iValue > 63 ? 63 : iValue];
}

const char *gen_salt()
{
    static uint32_t s_uState = 0;
    static char s_strSalt[9];
    s_uState += static_cast<uint32_t>(time(nullptr)) + static_cast<uint32_t>(getpid());
    const char ch1 = int_to_char(static_cast<int>(((s_uState >> 6) ^ (s_uState >> 18)) & 63));
    const char ch2 = int_to_char(static_cast<int>(((s_uState >> 12) ^ s_uState) & 63));
    for (size_t i = 0; i < 8; i += 2) {
        s_strSalt[i] = ch1;
        s_strSalt[i + 1] = ch2;
    }
    return s_strSalt;
}

const char *gen_password_hash(const char *strPassword)
{
    char strSetting[16];
    snprintf(strSetting, sizeof strSetting, "$1$%.9s", gen_salt());
    return crypt(strPassword, strSetting);
}
