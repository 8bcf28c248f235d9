// SPDX-License-Identifier: Apache-2.0
#include "lab/file.h"

#include <openssl/evp.h>

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>
#include <unistd.h>

namespace lab
{

namespace
{

[[noreturn]] void fail(const std::string &path)
{
    throw std::system_error(errno, std::generic_category(), path);
}

} // namespace

std::string readFile(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    if (!in)
        fail(path);
    std::string text(std::istreambuf_iterator<char>(in), {});
    if (in.bad())
        fail(path);
    return text;
}

void writeFile(const std::string &path, std::string_view text)
{
    const std::string fresh = path + ".new";
    FILE *const out = fopen(fresh.c_str(), "we");
    if (!out)
        fail(fresh);
    bool good = fwrite(text.data(), 1, text.size(), out) == text.size();
    good = fflush(out) == 0 && fsync(fileno(out)) == 0 && good;
    good = fclose(out) == 0 && good;
    if (!good || rename(fresh.c_str(), path.c_str()) != 0) {
        const int error = errno;
        unlink(fresh.c_str());
        errno = error;
        fail(path);
    }
}

std::string sha256(std::string_view bytes)
{
    unsigned char digest[32];
    if (EVP_Digest(bytes.data(), bytes.size(), digest, nullptr, EVP_sha256(), nullptr) != 1)
        throw std::runtime_error("SHA-256 is not to be had from this libcrypto");
    std::string text;
    for (const unsigned char byte : digest) {
        char pair[3];
        snprintf(pair, sizeof pair, "%02x", byte);
        text += pair;
    }
    return text;
}

} // namespace lab
