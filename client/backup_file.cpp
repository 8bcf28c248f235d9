// SPDX-License-Identifier: Apache-2.0
#include "client/backup_file.h"

#include "client/file_descriptor.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <openssl/evp.h>
#include <set>
#include <sstream>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace vxpctl
{
namespace
{

constexpr std::string_view header = "# vxp configuration 1\n";
constexpr std::string_view trailer = "# sha256: ";

std::string sha256(std::string_view bytes)
{
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest;
    unsigned size = 0;
    EVP_Digest(bytes.data(), bytes.size(), digest.data(), &size, EVP_sha256(), nullptr);
    std::string text;
    char digits[3];
    for (unsigned i = 0; i < size; i++) {
        std::snprintf(digits, sizeof digits, "%02x", digest[i]);
        text += digits;
    }
    return text;
}

std::set<std::string> settings(const std::string &content)
{
    std::set<std::string> lines;
    std::istringstream text(content);
    for (std::string line; std::getline(text, line);)
        if (!line.empty() && line[0] != '#')
            lines.insert(line);
    return lines;
}

Failure cannotWrite(const std::string &path, int error)
{
    const bool full = error == ENOSPC || error == EDQUOT;
    if (error == EEXIST)
        return fileExists(path);
    return Failure(ExitCode::failure,
                   {full ? ErrorCode("disk_full") : ErrorCode("cannot_write"),
                    "cannot write " + path + ": " + strerror(error) + "; nothing is left of it",
                    full ? "make room, or name another place with --to" : "name another place with --to"});
}

// A file that appears under its name when all is in it.
class NewFile
{
public:
    explicit NewFile(const std::string &path)
        : m_path(path), m_temporary(path + ".XXXXXX"), m_fd(mkostemp(m_temporary.data(), O_CLOEXEC))
    {
        if (m_fd.get() < 0)
            throw cannotWrite(m_path, errno);
    }
    NewFile(const NewFile &) = delete;
    NewFile &operator=(const NewFile &) = delete;
    ~NewFile() { unlink(m_temporary.c_str()); }
    void write(std::string_view content)
    {
        while (!content.empty()) {
            const ssize_t size = ::write(m_fd.get(), content.data(), content.size());
            if (size < 0 && errno != EINTR)
                throw cannotWrite(m_path, errno);
            content.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
        }
    }
    void finish()
    {
        if (fsync(m_fd.get()) != 0 || !rename())
            throw cannotWrite(m_path, errno);
    }

private:
    // Replaces nothing. Not every file system can rename so: NFS and many in user space need a second name.
    bool rename() const
    {
        const char *pFrom = m_temporary.c_str(), *pTo = m_path.c_str();
        return renameat2(AT_FDCWD, pFrom, AT_FDCWD, pTo, RENAME_NOREPLACE) == 0 ||
               ((errno == EINVAL || errno == ENOSYS) && link(pFrom, pTo) == 0);
    }

    std::string m_path, m_temporary;
    FileDescriptor m_fd;
};

} // namespace

Soundness checkBackup(const std::string &content)
{
    // What is cut off before the end of the header's line may have been one of these.
    if (!content.starts_with(header.substr(0, content.size())))
        return Soundness::unknown;
    const std::size_t at = content.rfind(trailer);
    const bool whole = at != content.npos && content[at - 1] == '\n' &&
                       content.substr(at) == std::string(trailer) + sha256(content.substr(0, at)) + "\n";
    return whole ? Soundness::whole : Soundness::broken;
}

std::string backupDifferences(const std::string &one, const std::string &other)
{
    if (one == other)
        return "";
    if (checkBackup(one) != Soundness::whole || checkBackup(other) != Soundness::whole)
        return "the file";
    std::set<std::string> differing, names;
    const auto first = settings(one), second = settings(other);
    std::set_symmetric_difference(first.begin(), first.end(), second.begin(), second.end(),
                                  std::inserter(differing, differing.end()));
    for (const std::string &line : differing)
        names.insert(line.substr(0, line.find(" \"")));
    std::string text;
    for (const std::string &name : names)
        text += (text.empty() ? "" : ", ") + name;
    return text;
}

std::string readContent(const std::string &path)
{
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error))
        throw Failure(ExitCode::usage, {"unreadable", path + " is no file" + (error ? ": " + error.message() : ""),
                                        "name the file with --file"});
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    if (!file || content.view().empty())
        throw Failure(ExitCode::usage, {"unreadable", path + (file ? " is empty" : " cannot be read"),
                                        "nothing was sent; name another file with --file"});
    return content.str();
}

Failure fileExists(const std::string &path)
{
    return Failure(ExitCode::failure, {"file_exists", path + " is there already; nothing was written",
                                       "name another file with --to, or move that one away"});
}

void writeNewFile(const std::string &path, const std::string &content)
{
    NewFile file(path);
    file.write(content);
    file.finish();
}

} // namespace vxpctl
