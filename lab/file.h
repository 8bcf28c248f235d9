// SPDX-License-Identifier: Apache-2.0
//
// Whole files, and the device's paths. Failures throw std::system_error or std::runtime_error naming the file.
#ifndef VXP_LAB_FILE_H
#define VXP_LAB_FILE_H

#include <string>
#include <string_view>

namespace lab
{

// All in the format of lsqlctl's dumps.
inline constexpr char DEFAULT_SETTINGS[] = "/etc/vxp/default"; // what a factory reset brings back
inline constexpr char STARTUP_SETTINGS[] = "/etc/vxp/startup"; // what a commit saves; none: the default ones
inline constexpr char FIRMWARE[] = "/etc/vxp/firmware"; // the installed firmware: "system model", "system version"

std::string readFile(const std::string &path);

// Appears under its name whole or not at all, also when the power fails.
void writeFile(const std::string &path, std::string_view text);

// 64 lower-case hexadecimal digits.
std::string sha256(std::string_view bytes);

} // namespace lab

#endif
