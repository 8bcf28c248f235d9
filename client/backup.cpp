// SPDX-License-Identifier: Apache-2.0
//
// backup: a device's configuration in a file that is known to be whole.
#include "client/backup.h"

#include "client/backup_file.h"
#include "client/commands.h"
#include "client/restart.h"

#include <ctime>
#include <filesystem>
#include <set>
#include <sys/statvfs.h>

namespace vxpctl
{
namespace
{

namespace fs = std::filesystem;

constexpr double defaultWait = 600; // seconds
constexpr double pollGap = 0.2;     // seconds
constexpr double graceTime = 2;     // seconds that the last bytes may take after the device has said that it is done

// Complete, or over in another way, which has a text: failed, or not running any more, as after a restart.
bool isOver(const TransferReply &reply)
{
    return reply.ucResult != 1 || reply.strMessage[0];
}

Failure notArrived(const Session &session, const std::string &content)
{
    struct statvfs space {
    };
    const fs::path folder = fs::temp_directory_path();
    if (statvfs(folder.c_str(), &space) == 0 && space.f_bavail == 0)
        return session.failure(ExitCode::failure, "disk_full", "no room for the backup in " + folder.string(),
                               "make room there, or name another folder in TMPDIR");
    if (content.empty())
        return session.failure(ExitCode::localNetwork, "not_received",
                               "says that the backup is done, but nothing has arrived",
                               "allow inbound UDP port 69 in this host's firewall, and its replies");
    return session.failure(ExitCode::deviceError, "backup_broken", "sent a backup that is cut off or damaged",
                           "try again");
}

// Name and address of the device and the time, of characters that every file system takes.
std::string fileName(const Device &device)
{
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    char time[20];
    std::strftime(time, sizeof time, "%Y%m%d-%H%M%S", localtime_r(&now, &local));
    std::string name = device.identity["name"].get<std::string>() + "-" + device.macText() + "-" + time + ".conf";
    std::erase(name, ':');
    for (char &c : name)
        if (!isalnum(static_cast<unsigned char>(c)) && c != '.' && c != '_' && c != '-')
            c = '_';
    return name[0] == '.' || name[0] == '-' ? "device" + name : name;
}

std::string destination(const Device &device, const Options &options)
{
    const std::string to = options.value("--to").value_or(".");
    return fs::is_directory(to) ? (fs::path(to) / fileName(device)).lexically_normal().string() : to;
}

Record back(Session &session, const Servers &servers, double seconds)
{
    const std::string path = destination(session.device(), session.options());
    session.phase("fetching");
    const std::string content = fetchBackup(session, session.device(), servers, seconds);
    writeNewFile(path, content);
    Record record = session.result();
    record["file"] = validUtf8(path);
    record["bytes_saved"] = content.size();
    const bool whole = checkBackup(content) == Soundness::whole;
    record["result"] = whole ? verified : unverified;
    if (!whole)
        session.problem(ExitCode::notVerified, "not_checked",
                        "sent a backup of a format that vxpctl does not know: " + path +
                            " is what arrived, and nothing shows that it is whole",
                        "look at it, or compare it with a second one");
    return record;
}

// On somebody else's server, what has arrived cannot be seen from here.
Record backElsewhere(Session &session, const Servers &servers, double seconds)
{
    const auto end = Clock::now() + duration(seconds);
    const Job job(session, session.device(), VXP_OP_CONFIG_BACKUP);
    job.requireIdle();
    job.begin(servers.elsewhere(), [] { return false; });
    std::optional<TransferReply> reply;
    while (!reply || !isOver(*reply)) {
        if (Clock::now() >= end)
            throw session.failure(ExitCode::noAnswer, "no_answer", "has not come to an end in time",
                                  "give more time with --wait");
        session.pause(pollGap);
        reply = job.query();
    }
    Record record = session.result();
    record["file"] = servers.elsewhere().url();
    record["bytes_saved"] = nullptr;
    record["result"] = unverified;
    session.problem(ExitCode::notVerified, "not_checked",
                    "says that the backup is done, as it does whatever becomes of it",
                    "look at " + servers.elsewhere().url() + ", or leave out --server");
    return record;
}

ExitCode runBackup(const Options &options, Writer &writer, const Log &log)
{
    Servers servers(options, Protocol::tftp);
    checkTransferOptions(options, servers, false);
    const double seconds = numberOption(options, "--wait", defaultWait, longestWait);
    Task task{[&](Session &session) {
                  return servers.areOurs() ? back(session, servers, seconds) : backElsewhere(session, servers, seconds);
              },
              false};
    task.parallel = parallelOption(options);
    task.prepare = [&](const std::vector<Device> &devices) {
        const std::string to = options.value("--to").value_or(".");
        if (devices.size() > 1 && (!servers.areOurs() || !fs::is_directory(to)))
            throw Failure(ExitCode::usage, {"usage", "several devices, and one file for all of them",
                                            "name a folder that is there with --to; each gets a file in it"});
        if (servers.areOurs() && fs::exists(to) && !fs::is_directory(to))
            throw fileExists(to);
        servers.prepare(devices, false);
    };
    return administer(options, writer, log, task);
}

} // namespace

std::string fetchBackup(Session &session, const Device &device, const Servers &servers, double seconds)
{
    const Job job(session, device, VXP_OP_CONFIG_BACKUP);
    job.requireIdle();
    const auto [place, offer] = servers.offer(Protocol::tftp, device, "backup", nullptr);
    job.begin(place, [pOffer = offer.get()] { return !pOffer->received().empty(); });
    const auto end = Clock::now() + duration(seconds);
    std::optional<Clock::time_point> done;
    std::string content;
    while (Clock::now() < end && (!done || Clock::now() < *done + duration(graceTime))) {
        content = offer->received();
        if (checkBackup(content) == Soundness::whole)
            break;
        if (const auto reply = done ? std::nullopt : job.query(); reply && isOver(*reply))
            done = Clock::now();
        session.pause(pollGap);
    }
    job.state(); // clears what the device keeps of it, which would stand in a restore's way
    if (content.empty() || checkBackup(content) == Soundness::broken)
        throw notArrived(session, content);
    return content;
}

Command backupCommand()
{
    std::vector<Setting> settings{
        {"--to", "PATH", "File, or folder in which each device gets a file (default: this folder)"}};
    const auto shared = transferSettings("");
    settings.insert(settings.end(), shared.begin(), shared.end());
    return {{"backup", {{"NAME", "name"}, {"MAC", "mac"}, {"ADDRESS", "ip"}, {"RESULT", "result"}, {"FILE", "file"}}},
            "Save the configuration of a device in a file",
            "Needs no password. The file has secrets in it; only you can read it. Devices send it over TFTP, to\n"
            "port 69 of this host, for which vxpctl has to be started with sudo.",
            deviceDefaults(),
            runBackup,
            CommandKind::device,
            settings};
}

} // namespace vxpctl
