// SPDX-License-Identifier: Apache-2.0
//
// What commands do to the devices that are named: one session for each, and one result or error.
#ifndef VXP_CLIENT_SESSION_H
#define VXP_CLIENT_SESSION_H

#include "client/exchange.h"
#include "client/secret.h"
#include "client/writer.h"

#include <cstring>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace vxpctl
{

// One device's turn.
class Session
{
public:
    Session(const Device &device, const Options &options, Exchange &exchange, Writer &writer, const Log &log)
        : m_device(device), m_options(options), m_exchange(exchange), m_writer(writer), m_log(log)
    {
    }
    const Device &device() const { return m_device; }
    const Options &options() const { return m_options; }
    const Log &log() const { return m_log; }
    Exchange &exchange() { return m_exchange; }
    bool hasPhases() const { return !m_latestEvent.is_null(); }

    // An operation without a body of its own, and its reply.
    std::vector<std::uint8_t> ask(std::uint16_t uCode) { return m_exchange.ask(m_device, operation(uCode), {}); }
    template <typename Reply>
    Reply read(std::uint16_t uCode)
    {
        Reply reply;
        std::memcpy(&reply, ask(uCode).data(), sizeof reply); // Exchange looks at the length
        return reply;
    }
    // An operation that answers with a status. Throws Failure when that is not 0.
    void change(std::uint16_t uCode, Bytes body = {});
    template <typename Body>
    void change(std::uint16_t uCode, const Body &body, std::size_t size = sizeof(Body))
    {
        change(uCode, Bytes(reinterpret_cast<const std::uint8_t *>(&body), size));
    }

    // Mac, ip and name, to which a command adds what it found.
    Record result() const;
    // The record shows what the device did; this says that it is not what was wanted.
    void problem(ExitCode exitCode, ErrorCode code, const std::string &message, const std::string &hint = {});
    const std::vector<std::pair<ExitCode, Error>> &problems() const { return m_problems; }
    Failure failure(ExitCode exitCode, ErrorCode code, const std::string &message, const std::string &hint = {}) const;
    void note(const std::string &text) { m_writer.note(text); } // for people
    // How far it has come, as Writer::event; runs from 0 to 100, or -1 when that is not known.
    void phase(const std::string &name, int percent = -1);
    void pause(double seconds) const; // throws Failure when the user interrupts

    // What the device reports against what was asked of it. Adds "result" and, where they differ, a problem.
    void compare(Record &record, const Record &wanted, const Record &actual, const std::string &why);

private:
    const Device &m_device;
    const Options &m_options;
    Exchange &m_exchange;
    Writer &m_writer;
    const Log &m_log;
    std::vector<std::pair<ExitCode, Error>> m_problems{};
    Record m_latestEvent{};
};

struct Task {
    std::function<Record(Session &)> run; // throws Failure
    bool password = true;                 // whether it needs the administrator's
    std::string question{};               // asked before anything is changed: "Reboot"; empty: not asked
    std::vector<std::string> warnings{};  // what the device is known not to do
    unsigned parallel = 1;                // on so many devices at a time
    std::function<void(const std::vector<Device> &)> prepare{}; // before all of them, when the person has agreed
};

// Values of the record's member "result".
inline constexpr const char *verified = "verified";     // the device reports what was asked of it
inline constexpr const char *accepted = "accepted";     // the device says that it did it, and there is nothing to read
inline constexpr const char *unverified = "unverified"; // the device said that it did it, but reports otherwise

ExitCode administer(const Options &options, Writer &writer, const Log &log, const Task &task);

// Defaults of commands that name devices.
Options deviceDefaults();

// The text of a setting in a field. Throws Failure (usage) when it is too long.
template <std::size_t size>
void putSetting(char (&field)[size], const std::string &text, const std::string &what)
{
    if (!putText(field, text))
        throw Failure(ExitCode::usage,
                      {"too_long", what + " has more than " + std::to_string(size - 1) + " bytes", ""});
}

} // namespace vxpctl

#endif
