// SPDX-License-Identifier: Apache-2.0
//
// Firmware images of the simulated device:
//
//     offset  size
//          0     8  "VXPIMG1\n"
//          8    32  model, padded with NULs (at most 31 characters)
//         40    32  version, likewise
//         72     8  size of the payload, big-endian
//         80     n  payload
//       80+n    64  SHA-256 of all bytes before, in lower-case hexadecimal digits
#ifndef VXP_LAB_IMAGE_H
#define VXP_LAB_IMAGE_H

#include <cstddef>
#include <string>
#include <string_view>

namespace lab
{

struct Image {
    std::string model;
    std::string version;
};

// An image with a payload of SIZE bytes that do not compress. Throws std::runtime_error when a text does not fit.
std::string makeImage(const Image &image, std::size_t size);

// Throws std::runtime_error that says what is wrong.
Image checkImage(std::string_view bytes);

} // namespace lab

#endif
