// SPDX-License-Identifier: Apache-2.0
#ifndef VXP_CLIENT_FILE_DESCRIPTOR_H
#define VXP_CLIENT_FILE_DESCRIPTOR_H

#include <unistd.h>
#include <utility>

namespace vxpctl
{

// Owns an open file descriptor; -1 is none.
class FileDescriptor
{
public:
    explicit FileDescriptor(int fd) : m_fd(fd) {}
    FileDescriptor(FileDescriptor &&other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
    FileDescriptor(const FileDescriptor &) = delete;
    FileDescriptor &operator=(const FileDescriptor &) = delete;
    ~FileDescriptor()
    {
        if (m_fd >= 0)
            close(m_fd);
    }
    int get() const { return m_fd; }

private:
    int m_fd;
};

} // namespace vxpctl

#endif
