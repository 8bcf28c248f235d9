// SPDX-License-Identifier: Apache-2.0
#include "client/session.h"

#include <algorithm>

namespace vxpctl
{
namespace
{

constexpr double defaultTimeout = 3.0; // seconds
constexpr int defaultTries = 4;

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

ExitCode runOne(const Task &task, Session &session, Writer &writer)
{
    try {
        const Record record = task.run(session);
        writer.device(record);
    } catch (const NotSent &request) {
        writer.device(notSent(session, request));
    } catch (const Failure &failure) {
        Error error = failure.error();
        error.device = session.device().macText();
        writer.error(error);
        return failure.exitCode();
    }
    ExitCode code = ExitCode::done;
    for (const auto &[exitCode, error] : session.problems()) {
        writer.error(error);
        code = exitCode;
    }
    return code;
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

Failure Session::failure(ExitCode exitCode, const std::string &code, const std::string &message,
                         const std::string &hint) const
{
    return Failure(exitCode, {code, m_device.label() + ": " + message, hint, m_device.macText()});
}

void Session::problem(ExitCode exitCode, const std::string &code, const std::string &message, const std::string &hint)
{
    m_problems.emplace_back(exitCode, failure(exitCode, code, message, hint).error());
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
    for (const Device &device : found.devices) {
        Exchange exchange(options, credentials, log);
        Session session(device, options, exchange, writer, log);
        tally.add(runOne(task, session, writer));
        if (tally.result() == ExitCode::interrupted)
            break;
    }
    return tally.result();
}

Options deviceDefaults()
{
    Options options;
    options.timeout = defaultTimeout;
    options.tries = defaultTries;
    return options;
}

} // namespace vxpctl
