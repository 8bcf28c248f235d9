// SPDX-License-Identifier: Apache-2.0
//
// A port of this host on which files are served, and who may reach it.
#ifndef VXP_CLIENT_SERVER_PORT_H
#define VXP_CLIENT_SERVER_PORT_H

#include "client/failure.h"
#include "client/fields.h"
#include "client/file_descriptor.h"

#include <mutex>
#include <set>

namespace vxpctl
{

// Why a file cannot be served: ExitCode::localNetwork.
Failure cannotServe(ErrorCode code, const std::string &message, const std::string &hint);

// A socket of this type, SOCK_STREAM or SOCK_DGRAM, at the port. Throws Failure (local network).
FileDescriptor bindServerPort(int type, const std::string &address, std::uint16_t port);

// The hosts that a socket hears, at first none: the kernel drops what comes from any other, and a TCP connection is not
// even begun. A host may be admitted more than once. The first two throw Failure (local network).
class Guests
{
public:
    void watch(int fd); // before it listens
    void admit(const IPv4_Address &host);
    void dismiss(const IPv4_Address &host) noexcept;

private:
    bool filter() const; // errno tells why not
    void mustFilter() const;

    int m_fd = -1;
    std::multiset<std::uint32_t> m_hosts{};
    std::mutex m_mutex{};
};

} // namespace vxpctl

#endif
