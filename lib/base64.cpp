// SPDX-License-Identifier: Apache-2.0
#include "lib/base64.h"

#include <openssl/bio.h>
#include <openssl/evp.h>

#include <cstring>

int base64_decode(std::span<char> out, const char *strText)
{
    memset(out.data(), 0, out.size());
    char strLine[1024];
    const size_t uLen = strnlen(strText, sizeof strLine - 1);
    if (uLen >= sizeof strLine - 1)
        return -1;
    memcpy(strLine, strText, uLen);
    strLine[uLen] = '\n'; // the filter decodes whole lines only

    BIO *const pFilter = BIO_new(BIO_f_base64());
    BIO *const pSource = BIO_new_mem_buf(strLine, static_cast<int>(uLen + 1));
    if (!pFilter || !pSource) {
        BIO_free_all(pFilter);
        BIO_free_all(pSource);
        return -1;
    }
    BIO_push(pFilter, pSource);
    BIO_read(pFilter, out.data(), static_cast<int>(out.size()));
    BIO_free_all(pFilter);
    return 0;
}
