// SPDX-License-Identifier: Apache-2.0
//
// Configuration files as devices write them:
//
//     # vxp configuration 1
//     (a setting a line)
//     # sha256: (64 hexadecimal digits, of all bytes before this line)
//
// Devices may have formats of their own; such a file is taken as it is, and nothing can be said of it.
#ifndef VXP_CLIENT_BACKUP_FILE_H
#define VXP_CLIENT_BACKUP_FILE_H

#include "client/failure.h"

#include <string>

namespace vxpctl
{

enum class Soundness { whole, broken, unknown };

Soundness checkBackup(const std::string &content);

// The names of the settings in which two files differ, for people: no values, which may be secret. Files of another
// format that differ are "the file". Empty when they say the same.
std::string backupDifferences(const std::string &one, const std::string &other);

// The content of a regular file. Throws Failure.
std::string readContent(const std::string &path);

Failure fileExists(const std::string &path);

// A new file that only its owner can read; it has all its content or is not there at all. Throws Failure, also when
// there is a file of this name already.
void writeNewFile(const std::string &path, const std::string &content);

} // namespace vxpctl

#endif
