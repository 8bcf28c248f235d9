// SPDX-License-Identifier: Apache-2.0
//
// watch: show the announcements that devices broadcast on their own account.
#include "client/commands.h"

#include "client/decode.h"
#include "client/fields.h"
#include "client/interfaces.h"
#include "client/survey.h"

#include <algorithm>
#include <ctime>

namespace vxpctl
{
namespace
{

constexpr BodyFormat announcement = bodyFormat<AnnouncementBody>;

class Watcher
{
public:
    Watcher(const Options &options, Writer &writer, const Log &log) : m_options(options), m_writer(writer), m_log(log)
    {
        if (!options.interfaces.empty())
            m_interfaces = chooseInterfaces(listInterfaces(), options.interfaces);
    }

    // False when the user interrupts.
    bool run()
    {
        std::optional<Clock::time_point> deadline;
        if (m_options.timeout > 0)
            deadline = Clock::now() + duration(m_options.timeout);
        const auto end = [&] { return isComplete() ? Clock::now() : deadline; };
        return gatherUntil(m_socket, m_interrupt, end, [this](const Datagram &datagram) { take(datagram); });
    }

    bool isComplete() const { return m_options.count && m_seen >= m_options.count; }
    unsigned long seen() const { return m_seen; }
    std::string noise() const { return m_noise.summary(); }

private:
    void take(const Datagram &datagram)
    {
        const auto arrivedOn = [&](const Interface &interface) { return interface.index == datagram.index; };
        if (!m_interfaces.empty() && std::none_of(m_interfaces.begin(), m_interfaces.end(), arrivedOn))
            return;
        const Verdict verdict = judgeAnnouncement(datagram.bytes, announcement.size);
        m_noise.add(verdict);
        if (verdict != Verdict::wanted)
            return;
        Record record = announcement.decode(datagram.bytes.data() + sizeof(message_t));
        record["from"] = datagram.sender;
        record["interfaces"] = {interfaceName(datagram.index)};
        record["seen"] = timeText(std::time(nullptr));
        m_writer.device(record);
        m_seen++;
    }

    const Options &m_options;
    Writer &m_writer;
    const Log &m_log;
    Interrupt m_interrupt{};
    UdpSocket m_socket{VXP_REQUEST_PORT, m_log};
    std::vector<Interface> m_interfaces{}; // empty: all
    Noise m_noise{};
    unsigned long m_seen = 0;
};

ExitCode watch(const Options &options, Writer &writer, const Log &log)
{
    if (options.format == Format::json && !options.count && options.timeout <= 0)
        throw Failure(ExitCode::usage, {"usage", "watch -o json shows everything at its end, and this one has none",
                                        "use -o jsonl, or set an end with --count or --timeout"});
    Watcher watcher(options, writer, log);
    const std::string port = std::to_string(VXP_REQUEST_PORT);
    writer.note("Listening on UDP port " + port + "; devices announce themselves every " +
                std::to_string(VXP_ANNOUNCE_INTERVAL) + " s. Ctrl-C ends.");
    const bool complete = watcher.run();
    if (const std::string noise = watcher.noise(); !noise.empty())
        log(noise);
    if (!complete) {
        writer.error({"interrupted", "interrupted; announcements shown: " + std::to_string(watcher.seen()), ""});
        return ExitCode::interrupted;
    }
    if (watcher.seen())
        return ExitCode::done;
    writer.error({"no_device", "no device announced itself in the time given",
                  "wait longer than the " + std::to_string(VXP_ANNOUNCE_INTERVAL) +
                      " s between two announcements, and allow inbound UDP port " + port + " in this host's firewall"});
    return ExitCode::noDevice;
}

} // namespace

Command watchCommand()
{
    return {{"watch",
             {{"SEEN", "seen", 25},
              {"NAME", "name", 16},
              {"PRODUCT", "product", 12},
              {"ADDRESS", "ip", 15},
              {"MAC", "mac", 17},
              {"VERSION", "version", 10},
              {"INTERFACE", "interfaces"}},
             true},
            "Show devices as they announce themselves",
            "Shows each announcement as it comes in. Sends nothing.",
            Options{},
            watch,
            CommandKind::listen};
}

} // namespace vxpctl
