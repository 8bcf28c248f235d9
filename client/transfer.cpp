// SPDX-License-Identifier: Apache-2.0
#include "client/transfer.h"

#include "client/commands.h"
#include "client/restart.h"

#include <algorithm>
#include <cstdio>
#include <random>

namespace vxpctl
{
namespace
{

constexpr int answerTries = 5;          // unless --tries says otherwise
constexpr std::size_t longestName = 64; // of the 128 bytes on the wire: devices' command lines are cut at 128, too
constexpr std::string_view nameCharacters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789._-";

Failure usage(const std::string &message, const std::string &hint)
{
    return Failure(ExitCode::usage, {"usage", message, hint});
}

// Devices hand the name to a shell and to tools that know no folders.
std::string checkedName(const std::string &name)
{
    if (name.empty() || name.size() > longestName || name[0] == '-' ||
        name.find_first_not_of(nameCharacters) != name.npos)
        throw usage("'" + name + "' is no file name for devices (--name)",
                    "it has letters, digits, dots, dashes and underscores, no folder, and at most " +
                        std::to_string(longestName) + " of them");
    return name;
}

// Devices' tools refuse a file that is there already.
std::string uniqueName(const std::string &what)
{
    std::random_device random;
    char text[longestName];
    std::snprintf(text, sizeof text, "vxp-%s-%08x%08x", what.c_str(), random(), random());
    return text;
}

IPv4_Address parseServer(const std::string &text)
{
    if (parseIPv6(text))
        throw usage("devices cannot use an IPv6 server, and answer as if they did; nothing was sent (--server)",
                    "name its IPv4 address");
    if (const auto address = parseIPv4(text))
        return *address;
    throw usage("'" + text + "' is no IPv4 address (--server)",
                "devices know no names, and no ports but 80 for HTTP and 69 for TFTP");
}

Bytes bytesOf(const TransferStart4 &body, std::size_t size = sizeof(TransferStart4))
{
    return {reinterpret_cast<const std::uint8_t *>(&body), size};
}

// The texts with which devices refuse a start.
std::string jobOf(const std::string &message)
{
    constexpr std::string_view busy = "\" is under processing";
    if (message.starts_with('"') && message.ends_with(busy))
        return message.substr(1, message.size() - busy.size() - 1);
    return message.starts_with("Invalid server type") ? "" : message;
}

std::string messageOf(const TransferReply &reply)
{
    return validUtf8(fieldText(reply.strMessage));
}

} // namespace

std::string Place::url() const
{
    return (protocol == Protocol::http ? "http://" : "tftp://") + dotted(server) + "/" + name;
}

Servers::Servers(const Options &options, Protocol preset) : m_dryRun(options.dryRun), m_protocol(preset)
{
    if (const auto protocol = options.value("--protocol"))
        m_protocol = *protocol == "http" ? Protocol::http : Protocol::tftp;
    if (const auto server = options.value("--server")) {
        m_server = parseServer(*server);
        m_name = checkedName(options.value("--name").value_or(""));
    } else if (options.given("--name")) {
        throw usage("--name names a file on a server, and --server is missing", "");
    }
}

void Servers::prepare(const std::vector<Device> &devices, bool hasFile)
{
    if (areOurs())
        open(m_protocol, devices);
    else
        check(hasFile);
}

void Servers::open(Protocol protocol, const std::vector<Device> &devices)
{
    for (const Device &device : m_dryRun ? std::vector<Device>{} : devices) {
        std::string address;
        try {
            address = addressFor(device);
        } catch (const Failure &failure) {
            if (failure.exitCode() == ExitCode::interrupted)
                throw;
            continue; // its own turn will tell
        }
        if (auto &server = m_own[{protocol, address}]; !server)
            server = protocol == Protocol::http ? makeHttpServer(address) : makeTftpServer(address);
    }
}

void Servers::check(bool hasFile) const
{
    if (m_dryRun)
        return;
    const Place place = elsewhere();
    const std::string address = dotted(place.server);
    const bool isThere =
        m_protocol == Protocol::http ? isOnHttpServer(address, m_name) : isOnTftpServer(address, m_name);
    if (isThere != hasFile)
        throw Failure(ExitCode::failure, {hasFile ? ErrorCode("no_file") : ErrorCode("file_exists"),
                                          hasFile ? "the server has no file " + place.url()
                                                  : "the server has a file " + place.url() + " already",
                                          hasFile ? "put it there, or let vxpctl serve it: --file instead of --server"
                                                  : "name another with --name"});
}

std::pair<Place, std::unique_ptr<Offer>> Servers::offer(Protocol protocol, const Device &device,
                                                        const std::string &what, Content content) const
{
    const std::string address = addressFor(device);
    const Place place{protocol, parseIPv4(address).value(), uniqueName(what)};
    const auto found = m_own.find({protocol, address});
    if (found == m_own.end() && !m_dryRun)
        throw Failure(ExitCode::localNetwork,
                      {"unreachable", device.label() + ": has moved to where vxpctl does not serve files", "try again",
                       device.macText()});
    if (found == m_own.end())
        return {place, nullptr};
    return {place, found->second->offer(place.name, device.ip, std::move(content))};
}

std::optional<TransferReply> Job::ask(Bytes body, double timeout) const
{
    try {
        TransferReply reply;
        std::memcpy(&reply, m_session.exchange().ask(m_device, operation(m_uCode), body, timeout).data(), sizeof reply);
        return reply;
    } catch (const Failure &failure) {
        if (failure.exitCode() != ExitCode::noAnswer)
            throw;
        return std::nullopt;
    }
}

int Job::tries() const
{
    return m_session.options().tries ? m_session.options().tries : answerTries;
}

// A query carries no text. A start without a server never starts anything, and why it is refused tells.
std::optional<std::string> Job::state(double timeout) const
{
    TransferStart4 body{};
    body.head.ucSubService = SST_START;
    const auto reply = ask(bytesOf(body, sizeof body.head), timeout);
    return reply ? std::optional(jobOf(messageOf(*reply))) : std::nullopt;
}

std::optional<TransferReply> Job::query(double timeout) const
{
    TransferStart4 body{};
    body.head.ucSubService = SST_QUERY;
    return ask(bytesOf(body, sizeof body.head), timeout);
}

// state() would clear what a device that has just finished a backup has to tell; query() that of a restore.
std::optional<bool> Job::isIdle(double timeout) const
{
    if (m_uCode != VXP_OP_CONFIG_BACKUP) {
        const auto state = this->state(timeout);
        return state ? std::optional(state->empty()) : std::nullopt;
    }
    const auto reply = query(timeout);
    return reply ? std::optional(reply->ucResult == 1 && messageOf(*reply).ends_with(" isn't running")) : std::nullopt;
}

bool Job::hasStarted(const std::function<bool()> &hasBegun) const
{
    for (int i = 0; i < tries(); i++) {
        if (hasBegun())
            return true;
        if (const auto idle = isIdle((i + 1) * answerTime))
            return !*idle;
    }
    return true; // silent, as a device is that fetches a file
}

void Job::requireIdle() const
{
    if (m_session.options().dryRun)
        return;
    std::optional<std::string> state;
    for (int i = 0; !state && i < tries(); i++) // where everybody is busy, the answer to the latest may be on its way
        state = this->state((i + 1) * answerTime);
    for (int i = 0; state == "complete" && i < tries(); i++) {
        query(); // a restore's query takes it; a backup has cleared it by itself
        state = this->state((i + 1) * answerTime);
    }
    if (!state)
        throw m_session.failure(ExitCode::noAnswer, "no_answer", "does not answer; nothing was begun",
                                "it may be busy with another transfer: try again later");
    if (*state == "failed" || state->ends_with(" failed"))
        throw m_session.failure(ExitCode::deviceError, "busy",
                                "an earlier transfer ended with '" + *state +
                                    "', and until a restart the device refuses every other",
                                "vxpctl reboot " + m_device.macText());
    if (*state == restartWish || *state == shutdownWish)
        throw m_session.failure(ExitCode::deviceError, "busy",
                                std::string("had finished an earlier upgrade, and now ") +
                                    (*state == restartWish ? "restarts" : "switches itself off"),
                                "try again when it is back");
    if (!state->empty())
        throw m_session.failure(ExitCode::deviceError, "busy", "is busy: '" + *state + "'", "try again later");
}

void Job::begin(const Place &place, const std::function<bool()> &hasBegun) const
{
    TransferStart4 body{};
    body.head = {SST_START, place.protocol == Protocol::http ? SERVER_HTTP : SERVER_TFTP, ADDRESS_IPV4};
    putBytes(body.ucIP, place.server);
    (void)putText(body.strFile, place.name); // its length was checked
    for (int i = 0; i < tries(); i++) {
        const auto reply = ask(bytesOf(body), answerTime);
        if (reply && reply->ucResult != 1)
            return;
        if (reply && i == 0) // later, it may be our own job that stands in the way
            throw m_session.failure(ExitCode::deviceError, "device_error", "refused to begin: " + messageOf(*reply),
                                    "");
        if (reply || hasStarted(hasBegun))
            return;
    }
    throw m_session.failure(ExitCode::noAnswer, "no_answer", "no answer to the request, and nothing has begun",
                            "try again, or look at it with --trace");
}

void checkTransferOptions(const Options &options, const Servers &servers, bool needsFile)
{
    if (needsFile && servers.areOurs() && !options.given("--file"))
        throw usage("which file? --file is missing", "or name one on a server: --server ADDRESS --name NAME");
}

unsigned parallelOption(const Options &options)
{
    constexpr double preset = 8, most = 64;
    return static_cast<unsigned>(numberOption(options, "--parallel", preset, most));
}

std::vector<Setting> transferSettings(const std::string &protocols)
{
    std::vector<Setting> settings{
        {"--server", "ADDRESS", "Use the server with this IPv4 address, instead of serving the file from here"},
        {"--name", "NAME", "Name of the file on that server"},
        {"--wait", "SECONDS", "How long one device may take in all (default: 600)"},
        {"--parallel", "N", "Serve so many devices at a time (default: 8)"},
    };
    if (!protocols.empty())
        settings.push_back({"--protocol", "tftp|http", protocols, {"tftp", "http"}});
    return settings;
}

} // namespace vxpctl
