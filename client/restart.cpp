// SPDX-License-Identifier: Apache-2.0
#include "client/restart.h"

#include "client/udp_socket.h"

#include <charconv>
#include <cmath>

namespace vxpctl
{
namespace
{

constexpr double pollTime = 0.4;                      // seconds to wait for a device to report itself
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

void awaitReturn(Session &session, Record &record, double seconds, bool isDown)
{
    const auto start = Clock::now(), end = start + duration(seconds);
    auto latestAnswer = start;
    while (Clock::now() < end) {
        const auto asked = Clock::now();
        const auto device = lookAgain(session.device(), pollTime, 1, session.log());
        if (device && (isDown || device->identity["version"] != session.device().identity["version"])) {
            record["ip"] = device->identity["ip"];
            record["name"] = device->identity["name"];
            record["version"] = device->identity["version"];
            record["seconds"] = std::round(std::chrono::duration<double>(Clock::now() - start).count() * 10) / 10;
            record["result"] = verified;
            return;
        }
        if (device)
            latestAnswer = asked;
        isDown = isDown || Clock::now() - latestAnswer > duration(downTime);
        if (!isDown && Clock::now() - start > goDownTime)
            break;
        if (isDown) // every device on the segment answers
            session.pause(pollTime);
    }
    if (!isDown)
        throw session.failure(ExitCode::notVerified, "not_verified", "accepted the request, but has not gone down",
                              "look at its log, or wait longer and ask again");
    throw session.failure(ExitCode::noAnswer, "not_back", "has not come back in time",
                          "give more time with --wait; after a reset its address may have changed: vxpctl discover");
}

} // namespace vxpctl
