// SPDX-License-Identifier: Apache-2.0
//
// Little-endian fields for records that travel on the wire.
//
// A record made of bytes and of these fields has alignment 1 and no padding on every machine, and a raw multi-byte
// value cannot be reached: get() and put() are the only way in or out, so a forgotten conversion does not compile.
// Compilers turn both into one load or store (and a swap on big-endian machines).
#ifndef VXP_LIB_BYTE_ORDER_H
#define VXP_LIB_BYTE_ORDER_H

#include <bit>
#include <cstdint>

// Unsigned 16-bit field, 2 bytes, low byte first.
class Le16
{
public:
    constexpr uint16_t get() const { return static_cast<uint16_t>(m_bytes[0] | m_bytes[1] << 8); }
    constexpr void put(uint16_t uValue)
    {
        m_bytes[0] = static_cast<uint8_t>(uValue);
        m_bytes[1] = static_cast<uint8_t>(uValue >> 8);
    }

private:
    uint8_t m_bytes[2];
};

// Unsigned 32-bit field, 4 bytes, low byte first.
class Le32
{
public:
    constexpr uint32_t get() const
    {
        return uint32_t{m_bytes[0]} | uint32_t{m_bytes[1]} << 8 | uint32_t{m_bytes[2]} << 16 |
               uint32_t{m_bytes[3]} << 24;
    }
    constexpr void put(uint32_t uValue)
    {
        m_bytes[0] = static_cast<uint8_t>(uValue);
        m_bytes[1] = static_cast<uint8_t>(uValue >> 8);
        m_bytes[2] = static_cast<uint8_t>(uValue >> 16);
        m_bytes[3] = static_cast<uint8_t>(uValue >> 24);
    }

private:
    uint8_t m_bytes[4];
};

static_assert(sizeof(Le16) == 2 && alignof(Le16) == 1);
static_assert(sizeof(Le32) == 4 && alignof(Le32) == 1);

// Host order to little-endian and back; the identity on a little-endian host, a byte swap on a big-endian one.
constexpr uint16_t swapLe16(uint16_t uValue)
{
    return std::endian::native == std::endian::little ? uValue : __builtin_bswap16(uValue);
}

constexpr uint32_t swapLe32(uint32_t uValue)
{
    return std::endian::native == std::endian::little ? uValue : __builtin_bswap32(uValue);
}

#endif
