// SPDX-License-Identifier: Apache-2.0
#include "client/session.h"

#include "client/interrupt.h"

#include <algorithm>
#include <future>
#include <optional>
#include <semaphore>

namespace vxpctl
{
namespace
{

std::string statusText(std::uint16_t uCode, std::uint32_t uStatus)
{
    struct Row {
        std::uint16_t uCode;
        std::uint32_t uStatus;
        const char *pText;
    };
    static constexpr Row rows[] = {
        {VXP_OP_SET_BASIC_INFO, 3, "it has no web port but 80; the name alone was changed"},
        {VXP_OP_CHANGE_ADMIN, 1001, "its administrator has another name"},
        {VXP_OP_CHANGE_ADMIN, 1006, "the new password has a character that it refuses"},
        {VXP_OP_VLAN_CONFIG, 3, "it does not support the options of the request"},
    };
    for (const Row &row : rows)
        if (row.uCode == uCode && row.uStatus == uStatus)
            return row.pText;
    return "unknown error";
}

// The results of all devices, as one answer to the shell.
class Tally
{
public:
    void add(ExitCode code) { m_codes.push_back(code); }
    ExitCode result() const
    {
        const auto is = [](ExitCode wanted) { return [wanted](ExitCode code) { return code == wanted; }; };
        if (std::any_of(m_codes.begin(), m_codes.end(), is(ExitCode::interrupted)))
            return ExitCode::interrupted;
        if (m_codes.empty())
            return ExitCode::noDevice;
        if (std::all_of(m_codes.begin(), m_codes.end(), is(m_codes[0])))
            return m_codes[0];
        return std::any_of(m_codes.begin(), m_codes.end(), is(ExitCode::done)) ? ExitCode::partly : ExitCode::failure;
    }

private:
    std::vector<ExitCode> m_codes{};
};

Record notSent(const Session &session, const NotSent &request)
{
    Record record = session.result();
    record["result"] = "not sent";
    record["request"] = request.request;
    record["bytes"] = request.bytes;
    return record;
}

// Shows the devices and asks; without a terminal, --yes must stand for the answer. Throws Failure.
void askPerson(const Task &task, const Options &options, const std::vector<Device> &devices)
{
    if (task.question.empty() || options.yes || options.dryRun || devices.empty())
        return;
    std::string list;
    for (const Device &device : devices)
        list += (list.empty() ? "" : ", ") + device.label() + " " + device.identity["model"].get<std::string>() + " " +
                device.identity["version"].get<std::string>();
    if (!isInteractive())
        throw Failure(ExitCode::notConfirmed,
                      {"not_confirmed",
                       "'" + task.question + "' needs a person's consent, and there is no terminal: " + list,
                       "give the consent with --yes"});
    if (!confirm(printable(task.question + " " + list + "?")))
        throw Failure(ExitCode::notConfirmed, {"not_confirmed", "not confirmed; nothing was changed", ""});
}

Credentials readCredentials(const Task &task, const Options &options)
{
    if (!task.password || options.dryRun)
        return makeCredentials("");
    SecretSource source{"password of " + std::string(administrator)};
    source.file = options.passwordFile;
    source.fd = options.passwordFd;
    source.variable = "VXPCTL_PASSWORD";
    source.fileOption = "--password-file";
    return makeCredentials(readSecret(source));
}

// What came of one device.
struct Outcome {
    std::optional<Record> record{};
    std::vector<std::pair<ExitCode, Error>> errors{};
};

Outcome attempt(const Task &task, Session &session)
{
    try {
        Record record = task.run(session);
        return {std::move(record), session.problems()};
    } catch (const NotSent &request) {
        return {notSent(session, request)};
    } catch (const Failure &failure) {
        Error error = failure.error();
        error.device = session.device().macText();
        return {{}, {{failure.exitCode(), error}}};
    }
}

Outcome notBegun(const Session &session, ExitCode exitCode, ErrorCode code, const std::string &why)
{
    return {{}, {{exitCode, session.failure(exitCode, code, why).error()}}};
}

Outcome runOne(const Task &task, Session &session, const Interrupt &interrupt, SharedWriter &writer)
{
    if (interrupt.came())
        return notBegun(session, ExitCode::interrupted, "interrupted", "interrupted before its turn");
    if (writer.isLost())
        return notBegun(session, ExitCode::failure, "failure", "not begun: what comes of it could not be shown");
    Outcome outcome = attempt(task, session);
    if (session.hasPhases())
        session.phase("done");
    return outcome;
}

ExitCode show(const Outcome &outcome, Writer &writer)
{
    if (outcome.record)
        writer.device(*outcome.record);
    ExitCode code = ExitCode::done;
    for (const auto &[exitCode, error] : outcome.errors) {
        writer.error(error);
        code = exitCode;
    }
    return code;
}

class Turn
{
public:
    explicit Turn(std::counting_semaphore<> &turns) : m_turns(turns) { m_turns.acquire(); }
    Turn(const Turn &) = delete;
    Turn &operator=(const Turn &) = delete;
    ~Turn() { m_turns.release(); }

private:
    std::counting_semaphore<> &m_turns;
};

// Results are shown in the order of the devices, whichever is ready first.
void runAll(const Task &task, const std::vector<Device> &devices, const Options &options,
            const Credentials &credentials, Writer &writer, const Log &log, Tally &tally)
{
    const Interrupt interrupt;
    SharedWriter shared(writer);
    std::counting_semaphore<> turns(task.parallel);
    const auto policy = task.parallel > 1 ? std::launch::async : std::launch::deferred;
    std::vector<std::future<Outcome>> outcomes;
    for (const Device &device : devices)
        outcomes.push_back(std::async(policy, [&] {
            const Turn turn(turns);
            Exchange exchange(options, credentials, log);
            Session session(device, options, exchange, shared, log);
            return runOne(task, session, interrupt, shared);
        }));
    for (auto &outcome : outcomes)
        tally.add(show(outcome.get(), shared));
    shared.throwIfLost();
}

} // namespace

void Session::change(std::uint16_t uCode, Bytes body)
{
    const auto reply = m_exchange.ask(m_device, operation(uCode), body);
    status_t status;
    std::memcpy(&status, reply.data(), sizeof status);
    status_to_LE(&status); // swaps: the way back is the same
    if (status.uStatus)
        throw failure(ExitCode::deviceError, "device_error",
                      "refused '" + std::string(operation(uCode).name) + "' with status " +
                          std::to_string(status.uStatus) + ": " + statusText(uCode, status.uStatus));
}

Record Session::result() const
{
    Record record;
    for (const char *pName : {"mac", "ip", "name"})
        record[pName] = m_device.identity[pName];
    return record;
}

Failure Session::failure(ExitCode exitCode, ErrorCode code, const std::string &message, const std::string &hint) const
{
    return Failure(exitCode, {code, m_device.label() + ": " + message, hint, m_device.macText()});
}

void Session::problem(ExitCode exitCode, ErrorCode code, const std::string &message, const std::string &hint)
{
    m_problems.emplace_back(exitCode, failure(exitCode, code, message, hint).error());
}

void Session::phase(const std::string &name, int percent)
{
    if (m_options.dryRun)
        return;
    Record event{{"mac", m_device.macText()},
                 {"name", m_device.identity["name"]},
                 {"phase", name},
                 {"percent", percent < 0 ? Record(nullptr) : Record(percent)}};
    if (event != m_latestEvent)
        m_writer.event(event);
    m_latestEvent = std::move(event);
}

void Session::pause(double seconds) const
{
    if (Interrupt().cameWithin(seconds))
        throw failure(ExitCode::interrupted, "interrupted", "interrupted; the device may do what it was asked",
                      "see what it has become: vxpctl show " + m_device.macText());
}

void Session::compare(Record &record, const Record &wanted, const Record &actual, const std::string &why)
{
    std::string differences;
    for (const auto &[name, value] : wanted.items()) {
        record[name] = actual.value(name, Record());
        if (record[name] != value)
            differences +=
                (differences.empty() ? "" : "; ") + name + " is " + record[name].dump() + ", not " + value.dump();
    }
    record["result"] = differences.empty() ? verified : unverified;
    if (!differences.empty())
        problem(ExitCode::notVerified, "not_verified", "accepted the change, but reports otherwise: " + differences,
                why);
}

ExitCode administer(const Options &options, Writer &writer, const Log &log, const Task &task)
{
    const Found found = findTargets(options, log);
    Tally tally;
    for (const Error &error : found.errors) {
        writer.error(error);
        tally.add(error.code == "ambiguous_target" ? ExitCode::usage : ExitCode::noDevice);
    }
    if (found.devices.empty())
        return tally.result();
    for (const std::string &warning : task.warnings)
        writer.note("note: " + warning);
    askPerson(task, options, found.devices);
    const Credentials credentials = readCredentials(task, options);
    const Interrupt interrupt; // before servers start, whose threads would be ended by the signal, and we with them
    if (task.prepare)
        task.prepare(found.devices);
    runAll(task, found.devices, options, credentials, writer, log, tally);
    return tally.result();
}

Options deviceDefaults()
{
    return {};
}

} // namespace vxpctl
