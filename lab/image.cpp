// SPDX-License-Identifier: Apache-2.0
#include "lab/image.h"

#include "lab/file.h"

#include <cstdint>
#include <random>
#include <stdexcept>

namespace lab
{

namespace
{

constexpr std::string_view MAGIC = "VXPIMG1\n";
constexpr std::size_t TEXT_SIZE = 32;
constexpr std::size_t VERSION_AT = MAGIC.size() + TEXT_SIZE;
constexpr std::size_t LENGTH_AT = VERSION_AT + TEXT_SIZE;
constexpr std::size_t PAYLOAD_AT = LENGTH_AT + 8;
constexpr std::size_t DIGEST_SIZE = 64;

bool isPrintable(std::string_view text)
{
    for (const char ch : text)
        if (ch <= ' ' || ch > '~')
            return false;
    return !text.empty();
}

std::string padded(const std::string &text, const char *what)
{
    if (text.size() >= TEXT_SIZE || !isPrintable(text))
        throw std::runtime_error(std::string("the ") + what + " must have 1 to 31 printable characters and no blank");
    std::string field = text;
    field.resize(TEXT_SIZE);
    return field;
}

std::string unpadded(std::string_view field)
{
    std::string text(field.substr(0, field.find('\0')));
    if (text.size() >= TEXT_SIZE || !isPrintable(text))
        throw std::runtime_error("its header names no model or version");
    return text;
}

std::uint64_t lengthIn(std::string_view bytes)
{
    std::uint64_t length = 0;
    for (const char ch : bytes.substr(LENGTH_AT, 8))
        length = length << 8 | static_cast<unsigned char>(ch);
    return length;
}

} // namespace

std::string makeImage(const Image &image, std::size_t size)
{
    std::string bytes(MAGIC);
    bytes += padded(image.model, "model") + padded(image.version, "version");
    for (int shift = 56; shift >= 0; shift -= 8)
        bytes += static_cast<char>(static_cast<std::uint64_t>(size) >> shift & 0xFF);
    std::mt19937 random(1); // the same image at each call
    while (bytes.size() < PAYLOAD_AT + size)
        bytes += static_cast<char>(random() & 0xFF);
    return bytes + sha256(bytes);
}

Image checkImage(std::string_view bytes)
{
    if (bytes.substr(0, MAGIC.size()) != MAGIC)
        throw std::runtime_error("not a firmware image");
    if (bytes.size() < PAYLOAD_AT + DIGEST_SIZE || bytes.size() - PAYLOAD_AT - DIGEST_SIZE != lengthIn(bytes))
        throw std::runtime_error("the image is cut short or has something behind it");
    const std::size_t digestAt = bytes.size() - DIGEST_SIZE;
    if (sha256(bytes.substr(0, digestAt)) != bytes.substr(digestAt))
        throw std::runtime_error("the image is damaged: its checksum does not fit");
    return {unpadded(bytes.substr(MAGIC.size(), TEXT_SIZE)), unpadded(bytes.substr(VERSION_AT, TEXT_SIZE))};
}

} // namespace lab
