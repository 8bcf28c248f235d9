// SPDX-License-Identifier: Apache-2.0
//
// What upgrade, backup and restore share: where the file is, and the device's side of the job.
#ifndef VXP_CLIENT_TRANSFER_H
#define VXP_CLIENT_TRANSFER_H

#include "client/file_server.h"
#include "client/session.h"
#include "client/udp_socket.h"

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vxpctl
{

// A file on a server, as a device is told of it.
struct Place {
    Protocol protocol;
    IPv4_Address server;
    std::string name;
    std::string url() const;
};

// The address of this host that the device can reach: of the network interface on which it was found, in its network;
// or, for a device that is in another network and can be reached there, the one that leads to it. Throws Failure.
std::string addressFor(const Device &device);

// The servers of one command, whose options say whether they are its own.
class Servers
{
public:
    Servers(const Options &options, Protocol preset); // throws Failure (usage)
    Protocol protocol() const { return m_protocol; }
    bool areOurs() const { return !m_server; }

    // Before anything is sent to a device. Our own listen wherever one of them comes from; somebody else's has to be
    // there, and to have the file, or none of its name. Throws Failure.
    void prepare(const std::vector<Device> &devices, bool hasFile);
    void open(Protocol protocol, const std::vector<Device> &devices); // one more of our own

    // Offers a file to a device, under a name of its own; without content, takes one. Throws Failure.
    std::pair<Place, std::unique_ptr<Offer>> offer(Protocol protocol, const Device &device, const std::string &what,
                                                   Content content) const;
    // Where the options say that the file is, or is to go.
    Place elsewhere() const { return {m_protocol, m_server.value_or(IPv4_Address{}), m_name}; }

private:
    void check(bool hasFile) const;

    bool m_dryRun;
    Protocol m_protocol;
    std::optional<IPv4_Address> m_server{};
    std::string m_name{};
    std::map<std::pair<Protocol, std::string>, std::unique_ptr<FileServer>> m_own{};
};

// What a device's tools tell when an upgrade is done. Whoever asks for it grants it.
inline constexpr const char *restartWish = "1", *shutdownWish = "2";

// One kind of job on one device, seen from here.
class Job
{
public:
    Job(Session &session, const Device &device, std::uint16_t uCode)
        : m_session(session), m_device(device), m_uCode(uCode)
    {
    }

    // What the device is doing, in its own words: empty when nothing; nothing when it does not answer, as while it
    // fetches a file.
    std::optional<std::string> state(double timeout = answerTime) const;
    std::optional<TransferReply> query(double timeout = answerTime) const; // its answer, if there is one

    // Throws Failure unless the device can begin. A finished job that the device still tells of is cleared away.
    void requireIdle() const;

    // Throws Failure when the device refuses. An answer that does not come says nothing: the request is sent again only
    // when the device says that it does nothing and hasBegun() denies, too.
    void begin(const Place &place, const std::function<bool()> &hasBegun) const;

private:
    static constexpr double answerTime = 1; // seconds: a device that is free answers within milliseconds

    std::optional<TransferReply> ask(Bytes body, double timeout) const; // nothing when there is no answer
    std::optional<bool> isIdle(double timeout) const;                   // likewise
    bool hasStarted(const std::function<bool()> &hasBegun) const;       // after a request that was not answered
    int tries() const;

    Session &m_session;
    Device m_device;
    std::uint16_t m_uCode;
};

// Throws Failure (usage) unless the options say where the file comes from.
void checkTransferOptions(const Options &options, const Servers &servers, bool needsFile);
unsigned parallelOption(const Options &options);

struct Setting;

// Options of the three commands.
std::vector<Setting> transferSettings(const std::string &protocols);

} // namespace vxpctl

#endif
