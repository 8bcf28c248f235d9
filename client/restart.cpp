// SPDX-License-Identifier: Apache-2.0
#include "client/restart.h"

#include "client/decode.h"

#include <charconv>
#include <cmath>

namespace vxpctl
{
namespace
{

constexpr double pollTime = 0.4; // seconds to wait for a device to report itself
constexpr int pollTries = 2;     // in that time
constexpr double pollGap = 0.2;  // seconds
constexpr auto longestGap = std::chrono::seconds(5);
constexpr double downTime = 1.5;                      // seconds of silence that mean that it went down
constexpr auto goDownTime = std::chrono::seconds(30); // time in which it has to begin

} // namespace

double numberOption(const Options &options, const std::string &name, double preset, double most)
{
    const auto text = options.value(name);
    double number = preset;
    if (!text)
        return number;
    const auto [pEnd, error] = std::from_chars(text->data(), text->data() + text->size(), number);
    if (error != std::errc() || *pEnd || !(number >= 1 && number <= most))
        throw Failure(ExitCode::usage, {"usage",
                                        "'" + *text + "' is no number from 1 to " +
                                            std::to_string(static_cast<int>(most)) + " (" + name + ")",
                                        ""});
    return number;
}

std::optional<Device> Lookout::askIt() const
{
    try {
        const auto reply =
            m_session.exchange().ask(m_session.device(), operation(VXP_OP_DISCOVER), {}, pollTime, pollTries);
        Record record = bodyFormat<DiscoverReply>.decode(reply.data());
        record["interfaces"] = m_session.device().identity["interfaces"];
        return Device(record);
    } catch (const Failure &failure) {
        // With the device at its other end, this host's interface may go down and up, too.
        if (failure.exitCode() != ExitCode::noAnswer && failure.error().code != "send_failed")
            throw;
        return std::nullopt;
    }
}

std::optional<Device> Lookout::askAll()
{
    if (Clock::now() < m_next)
        return std::nullopt;
    const auto device = lookAgain(m_session.device(), pollTime, pollTries, m_session.log());
    m_gap = std::min<Clock::duration>(2 * m_gap, longestGap);
    m_next = Clock::now() + m_gap;
    return device;
}

void awaitReturn(Session &session, Record &record, double seconds, bool isDown)
{
    const auto start = Clock::now(), end = start + duration(seconds);
    auto latestAnswer = start;
    Lookout lookout(session);
    bool answers = true;
    while (Clock::now() < end) {
        const auto asked = Clock::now();
        auto device = lookout.askIt();
        if (!device && isDown)
            device = lookout.askAll();
        if (device && (isDown || device->identity["version"] != session.device().identity["version"])) {
            record["ip"] = device->identity["ip"];
            record["name"] = device->identity["name"];
            record["version"] = device->identity["version"];
            record["seconds"] = std::round(std::chrono::duration<double>(Clock::now() - start).count() * 10) / 10;
            record["result"] = verified;
            return;
        }
        answers = device.has_value();
        if (answers)
            latestAnswer = asked;
        isDown = isDown || Clock::now() - latestAnswer > duration(downTime);
        if (!isDown && Clock::now() - start > goDownTime)
            break;
        session.pause(pollGap);
    }
    if (!isDown && answers)
        throw session.failure(ExitCode::notVerified, "not_verified", "accepted the request, but has not gone down",
                              "look at its log, or wait longer and ask again");
    throw session.failure(ExitCode::noAnswer, "not_back", "has not come back in time",
                          "give more time with --wait; after a reset its address may have changed: vxpctl discover");
}

} // namespace vxpctl
