// SPDX-License-Identifier: Apache-2.0
//
// upgrade: a new firmware, and whether the device runs it.
#include "client/commands.h"

#include "client/backup_file.h"
#include "client/restart.h"
#include "client/transfer.h"

#include <cmath>

namespace vxpctl
{
namespace
{

constexpr double defaultWait = 600; // seconds
constexpr double pollGap = 0.3;     // seconds
constexpr double stallTime = 15;    // seconds without a byte after which a download is not waited for
constexpr double unheardTime = 10;  // seconds in which a device that says yes has to do something

double secondsSince(Clock::time_point then)
{
    return std::chrono::duration<double>(Clock::now() - then).count();
}

// What a device says of its progress, in our words.
std::string phaseOf(const std::string &state)
{
    if (state == "Downloading file")
        return "fetching";
    if (state.starts_with("Validat"))
        return "validating";
    return "writing";
}

class Upgrade
{
public:
    Upgrade(Session &session, const Servers &servers, const Content &image)
        : m_session(session), m_servers(servers), m_image(image),
          m_job(session, session.device(), VXP_OP_FIRMWARE_UPGRADE)
    {
    }

    Record run()
    {
        m_job.requireIdle();
        auto [place, offer] = m_servers.areOurs()
                                  ? m_servers.offer(m_servers.protocol(), m_session.device(), "firmware", m_image)
                                  : std::pair(m_servers.elsewhere(), std::unique_ptr<Offer>());
        m_offer = std::move(offer);
        m_place = place;
        m_session.phase("fetching");
        m_job.begin(place, [this] { return fetched() > 0; });
        follow();
        return verify();
    }

private:
    std::size_t fetched() const { return m_offer ? m_offer->sent() : 0; }
    bool showsFetching() const { return m_offer && m_offer->canTell(); }
    double timeLeft() const { return m_end - secondsSince(m_start); }

    // A device that fetches over HTTP answers nothing until it has looked at the file.
    void watchFetching()
    {
        std::size_t latest = 0;
        auto moved = Clock::now();
        while (fetched() != 0 && fetched() < m_image->size() && secondsSince(moved) < stallTime && timeLeft() > 0) {
            if (const std::size_t now = fetched(); now != latest) {
                latest = now;
                moved = Clock::now();
            }
            m_session.phase("fetching", static_cast<int>(latest * 100 / m_image->size()));
            m_session.pause(pollGap);
        }
    }

    // Until the device restarts; throws Failure when it will not.
    void follow()
    {
        auto heard = Clock::now();
        for (bool busy = false; timeLeft() > 0; m_session.pause(pollGap)) {
            watchFetching();
            const auto state = m_job.state();
            if (!state) {
                busy = busy || (showsFetching() && fetched() == m_image->size());
                m_isDown = busy && hasMoved();
                if (m_isDown)
                    return;
                continue;
            }
            if (*state == restartWish)
                return;
            refuse(*state);
            if (state->empty() && (busy || hasNewVersion())) {
                m_isDown = true; // it has been, and knows nothing of the job any more
                return;
            }
            if (!state->empty()) {
                busy = true;
                m_session.phase(phaseOf(*state));
            } else if (fetched() == 0 && secondsSince(heard) > unheardTime) {
                throw nothingHappens();
            }
        }
        throw m_session.failure(ExitCode::noAnswer, "not_back", "has not come to an end in time" + shortfall(),
                                "give more time with --wait; 'vxpctl show' tells its version when it answers");
    }

    // A restart may change its address, to which no answer of a device that had another one fits.
    bool hasMoved()
    {
        const auto device = m_lookout.askAll();
        return device && device->ip != m_session.device().ip;
    }

    // The answer before a restart may be lost, and with another's server there may be no other sign of it.
    bool hasNewVersion() const
    {
        const auto device = m_lookout.askIt();
        return device && device->identity["version"] != m_session.device().identity["version"];
    }

    // Empty unless it is known that a part of the file is missing.
    std::string shortfall() const
    {
        return !showsFetching() || fetched() >= m_image->size()
                   ? ""
                   : ": it has fetched " + std::to_string(fetched()) + " of " + std::to_string(m_image->size()) +
                         " bytes of the file";
    }

    void refuse(const std::string &state) const
    {
        if (!state.ends_with(" failed") && state != shutdownWish)
            return;
        const std::string stuck =
            "until a restart it refuses every other transfer: vxpctl reboot " + m_session.device().macText();
        if (state == shutdownWish)
            throw m_session.failure(ExitCode::deviceError, "device_error", "switches itself off", "");
        if (showsFetching() && fetched() == 0)
            throw m_session.failure(ExitCode::localNetwork, "not_fetched", "did not get the file from " + m_place.url(),
                                    "allow inbound TCP port 80 in this host's firewall; " + stuck);
        if (showsFetching() && fetched() < m_image->size())
            throw m_session.failure(ExitCode::deviceError, "not_fetched", "broke off" + shortfall(), stuck);
        throw m_session.failure(
            ExitCode::deviceError, "device_error",
            "reports '" + state + "'; it keeps version " + m_session.device().identity["version"].get<std::string>(),
            "the file is damaged or for another model" +
                std::string(showsFetching() ? "" : ", or could not be fetched whole") + "; " + stuck);
    }

    Failure nothingHappens() const
    {
        return m_session.failure(ExitCode::notVerified, "not_verified", "accepted the request, but does nothing",
                                 "look at its log; is " + m_place.url() + " within its reach?");
    }

    // Only the version that the device reports afterwards shows that the image is in it.
    Record verify()
    {
        const std::string before = m_session.device().identity["version"];
        Record record = m_session.result();
        record["result"] = unverified;
        record["previous_version"] = before;
        record["version"] = nullptr;
        record["seconds"] = nullptr;
        m_session.phase("restarting");
        awaitReturn(m_session, record, std::max(timeLeft(), 1.0), m_isDown);
        const std::string after = record["version"], expected = m_session.options().value("--expect").value_or(after);
        char seconds[16];
        std::snprintf(seconds, sizeof seconds, "%.0f", record["seconds"].get<double>());
        const std::string story = "came back after " + std::string(seconds) + " s with " + after + ", ";
        m_session.note(m_session.device().label() + ": " + story + "was " + before);
        if (after == expected && after != before)
            return record;
        record["result"] = unverified;
        m_session.problem(ExitCode::notVerified, "not_verified",
                          story + (after == expected ? "which it had before: nothing shows that the file is in it"
                                                     : "not " + expected),
                          after == expected ? "" : "ask again with 'vxpctl show', and look at the device's log");
        return record;
    }

    Session &m_session;
    const Servers &m_servers;
    const Content &m_image;
    Job m_job;
    Place m_place{};
    std::unique_ptr<Offer> m_offer{};
    bool m_isDown = false;
    Lookout m_lookout{m_session};
    const Clock::time_point m_start = Clock::now();
    const double m_end = numberOption(m_session.options(), "--wait", defaultWait, longestWait);
};

ExitCode runUpgrade(const Options &options, Writer &writer, const Log &log)
{
    Servers servers(options, Protocol::http);
    checkTransferOptions(options, servers, true);
    const Content image = servers.areOurs()
                              ? std::make_shared<const std::string>(readContent(options.value("--file").value_or("")))
                              : nullptr;
    Task task{[&](Session &session) { return Upgrade(session, servers, image).run(); }, false};
    task.question = "Replace the firmware of";
    task.parallel = parallelOption(options);
    task.prepare = [&](const std::vector<Device> &devices) { servers.prepare(devices, true); };
    return administer(options, writer, log, task);
}

} // namespace

Command upgradeCommand()
{
    std::vector<Setting> settings{{"--file", "IMAGE", "The firmware, which vxpctl serves to the devices"},
                                  {"--expect", "VERSION", "The version that a device has to report afterwards"}};
    const auto shared = transferSettings("How devices fetch the file (default: http)");
    settings.insert(settings.end(), shared.begin(), shared.end());
    return {{"upgrade",
             {{"NAME", "name"},
              {"MAC", "mac"},
              {"ADDRESS", "ip"},
              {"RESULT", "result"},
              {"WAS", "previous_version"},
              {"VERSION", "version"},
              {"SECONDS", "seconds"}}},
            "Replace the firmware of a device, and say which version it comes back with",
            "Needs no password. Serves the file itself, on port 80 or 69, or names a server with --server.",
            deviceDefaults(),
            runUpgrade,
            CommandKind::device,
            settings};
}

} // namespace vxpctl
