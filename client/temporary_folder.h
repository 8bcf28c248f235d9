// SPDX-License-Identifier: Apache-2.0
#ifndef VXP_CLIENT_TEMPORARY_FOLDER_H
#define VXP_CLIENT_TEMPORARY_FOLDER_H

#include "client/failure.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

namespace vxpctl
{

// A folder that nobody else can enter, in TMPDIR or /tmp; it goes with all that is in it.
class TemporaryFolder
{
public:
    TemporaryFolder() : m_path((std::filesystem::temp_directory_path() / "vxpctl-XXXXXX").string())
    {
        if (!mkdtemp(m_path.data()))
            throw Failure(ExitCode::failure, {"failure", "cannot make the folder " + m_path + ": " + strerror(errno),
                                              "name another place in TMPDIR"});
    }
    TemporaryFolder(const TemporaryFolder &) = delete;
    TemporaryFolder &operator=(const TemporaryFolder &) = delete;
    ~TemporaryFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    const std::string &path() const { return m_path; }

private:
    std::string m_path;
};

} // namespace vxpctl

#endif
