// SPDX-License-Identifier: Apache-2.0
//
// Files served by this host for the time of a transfer, each to one device and under one name. Devices use port 80 for
// HTTP and 69 for TFTP, and no other.
#ifndef VXP_CLIENT_FILE_SERVER_H
#define VXP_CLIENT_FILE_SERVER_H

#include "client/failure.h"
#include "client/fields.h"

#include <memory>
#include <string>

namespace vxpctl
{

using Content = std::shared_ptr<const std::string>;

enum class Protocol { tftp, http };
// One file on its way to or from one device; it is withdrawn when this goes.
class Offer
{
public:
    virtual ~Offer() = default;
    virtual std::size_t sent() const { return 0; }      // bytes that the device has taken; 0 where that cannot be seen
    virtual bool canTell() const { return false; }      // whether sent() tells anything
    virtual std::string received() const { return ""; } // what the device has sent so far; empty when nothing
};

class FileServer
{
public:
    virtual ~FileServer() = default;
    // Without content, the device may send a file of this name. Throws Failure.
    virtual std::unique_ptr<Offer> offer(const std::string &name, const IPv4_Address &device, Content content) = 0;
};

// Start to listen on an address of this host, where only devices with an offer are heard; the servers end when they go.
// TFTP is in.tftpd's, which ends with the calling thread at the latest. Throw Failure (local network) that names the
// port or right that is missing.
std::unique_ptr<FileServer> makeHttpServer(const std::string &address);
std::unique_ptr<FileServer> makeTftpServer(const std::string &address);

// Look for a file on a server that is not ours: false when the server says that it has none of this name. Throw Failure
// (local network) when nothing answers.
bool isOnHttpServer(const std::string &address, const std::string &name);
bool isOnTftpServer(const std::string &address, const std::string &name);

} // namespace vxpctl

#endif
