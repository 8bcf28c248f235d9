// SPDX-License-Identifier: Apache-2.0
//
// restore: a configuration back into a device, and whether the device has it.
#include "client/backup.h"
#include "client/backup_file.h"
#include "client/commands.h"
#include "client/restart.h"

namespace vxpctl
{
namespace
{

constexpr double defaultWait = 600; // seconds
constexpr double pollGap = 0.5;     // seconds
constexpr double settleTime = 20;   // seconds from the device's "complete", which comes before it restores anything

class Restore
{
public:
    Restore(Session &session, const Servers &servers, const Content &file)
        : m_session(session), m_servers(servers), m_file(file), m_job(session, session.device(), VXP_OP_CONFIG_UPGRADE)
    {
    }

    Record run()
    {
        m_job.requireIdle();
        auto [place, offer] = m_servers.areOurs()
                                  ? m_servers.offer(m_servers.protocol(), m_session.device(), "config", m_file)
                                  : std::pair(m_servers.elsewhere(), std::unique_ptr<Offer>());
        m_session.phase("fetching");
        m_job.begin(place, [&offer = offer] { return offer && offer->sent() > 0; });
        follow(place, offer.get());
        offer.reset();
        Record record = m_session.result();
        record["result"] = unverified;
        if (m_session.options().given("--no-verify") || !m_file)
            m_session.problem(ExitCode::notVerified, "not_verified",
                              "says that the restore is done, and was not asked for a backup",
                              "compare one with the file: vxpctl backup " + m_session.device().macText());
        else
            verify(record);
        return record;
    }

private:
    // Until the device says that it is done, or is not.
    void follow(const Place &place, const Offer *pOffer)
    {
        const auto end = Clock::now() + duration(numberOption(m_session.options(), "--wait", defaultWait, longestWait));
        for (Lookout lookout(m_session); Clock::now() < end; m_session.pause(pollGap)) {
            const auto state = m_job.state();
            if (!state) { // which may be since it has the address that it was given back
                const auto device = lookout.askAll();
                if (device && device->ip != m_session.device().ip)
                    return;
                continue;
            }
            if (*state == "complete" || state->empty()) {
                m_job.query(); // takes it
                return;
            }
            m_session.phase(*state == "verifying" ? "validating" : "fetching");
            if (*state == "failed")
                throw refused(place, pOffer);
        }
        throw m_session.failure(ExitCode::noAnswer, "no_answer", "has not come to an end in time",
                                "give more time with --wait");
    }

    Failure refused(const Place &place, const Offer *pOffer) const
    {
        const std::string stuck =
            "; until a restart it refuses every other: vxpctl reboot " + m_session.device().macText();
        if (pOffer && pOffer->canTell() && pOffer->sent() == 0)
            return m_session.failure(ExitCode::localNetwork, "not_fetched", "did not get the file from " + place.url(),
                                     "allow inbound TCP port 80 in this host's firewall" + stuck);
        return m_session.failure(ExitCode::deviceError, "device_error", "refuses the file; its settings are as before",
                                 "it is damaged or another product's, or could not be fetched whole" + stuck);
    }

    // Over TFTP, a device says that it is done whatever came of it. A fresh backup says what it has.
    void verify(Record &record)
    {
        std::string problem;
        m_session.phase("verifying");
        const auto end = Clock::now() + duration(settleTime);
        do {
            problem = compare();
            if (problem.empty()) {
                describe(record, find());
                record["result"] = verified;
                return;
            }
            m_session.pause(pollGap);
        } while (Clock::now() < end);
        m_session.problem(ExitCode::notVerified, "not_verified", problem,
                          "look at its log; over TFTP, devices do not tell that they refuse a file");
    }

    std::optional<Device> find() const
    {
        const auto device = Lookout(m_session).askIt();
        return device ? device : lookAgain(m_session.device(), 1, 2, m_session.log());
    }

    // It may have another name and address now.
    static void describe(Record &record, const std::optional<Device> &device)
    {
        for (const char *pName : {"ip", "name"})
            if (device)
                record[pName] = device->identity[pName];
    }

    // What a backup of the device has to say against the file; empty when nothing.
    std::string compare()
    {
        try {
            const auto device = find();
            if (!device)
                return "said that it was done, and does not answer since";
            const std::string differences =
                backupDifferences(*m_file, fetchBackup(m_session, *device, m_servers, settleTime));
            return differences.empty() ? ""
                                       : "said that it was done, but its backup differs from the file: " + differences;
        } catch (const Failure &failure) {
            if (failure.exitCode() == ExitCode::interrupted)
                throw;
            return "said that it was done, but cannot be asked for a backup: " + failure.error().message;
        }
    }

    Session &m_session;
    const Servers &m_servers;
    const Content &m_file;
    Job m_job;
};

// What is known to be damaged is not sent.
Content readBackup(const std::string &path, Writer &writer)
{
    const auto content = std::make_shared<const std::string>(readContent(path));
    const Soundness soundness = checkBackup(*content);
    if (soundness == Soundness::broken)
        throw Failure(ExitCode::usage,
                      {"backup_broken", path + " is cut off or damaged: its checksum does not fit; nothing was sent",
                       "use another one; a device would refuse it, too"});
    if (soundness == Soundness::unknown)
        writer.note("note: " + path + " has a format that vxpctl does not know, and was not checked");
    return content;
}

ExitCode runRestore(const Options &options, Writer &writer, const Log &log)
{
    Servers servers(options, Protocol::http);
    checkTransferOptions(options, servers, true);
    numberOption(options, "--wait", defaultWait, longestWait);
    const Content file = options.given("--file") ? readBackup(options.value("--file").value(), writer) : nullptr;
    Task task{[&](Session &session) { return Restore(session, servers, file).run(); }, false};
    task.question = "Replace the settings of";
    task.warnings = {"what is restored is lost at the next reboot unless it is saved: vxpctl save"};
    task.parallel = parallelOption(options);
    task.prepare = [&](const std::vector<Device> &devices) {
        servers.prepare(devices, true);
        if (file && !options.given("--no-verify"))
            servers.open(Protocol::tftp, devices);
    };
    return administer(options, writer, log, task);
}

} // namespace

Command restoreCommand()
{
    std::vector<Setting> settings{
        {"--file", "FILE", "The configuration, as 'backup' saved it"},
        {"--no-verify", "", "Take no backup afterwards, for which devices use TFTP; the result is then not verified"}};
    const auto shared = transferSettings("How devices fetch the file (default: http, over which they tell failures)");
    settings.insert(settings.end(), shared.begin(), shared.end());
    return {{"restore", {{"NAME", "name"}, {"MAC", "mac"}, {"ADDRESS", "ip"}, {"RESULT", "result"}}},
            "Bring the settings of a device back from a file",
            "Needs no password. Takes a backup afterwards and compares it, for which vxpctl has to be started with\n"
            "sudo.",
            deviceDefaults(),
            runRestore,
            CommandKind::device,
            settings};
}

} // namespace vxpctl
