// SPDX-License-Identifier: Apache-2.0
//
// password check and change: the administrator's account.
#include "client/commands.h"

#include "client/session.h"

namespace vxpctl
{
namespace
{

constexpr std::string_view refusedCharacters = "@:-/\\%\"'"; // by the device, with status 1006

Record check(Session &session)
{
    Record record = session.result();
    const auto reply = session.read<UserVerifyReply>(VXP_OP_USER_VERIFY);
    record["result"] = verified;
    record["administrator"] = reply.uResult.get() == 1;
    return record;
}

// Whether the device takes the password.
bool holds(Session &session, const std::string &password)
{
    session.exchange().setCredentials(makeCredentials(password));
    try {
        session.read<UserVerifyReply>(VXP_OP_USER_VERIFY);
        return true;
    } catch (const Failure &failure) {
        if (failure.exitCode() != ExitCode::refused)
            throw;
        return false;
    }
}

Record change(Session &session, const std::string &before, const std::string &after)
{
    ChangeAdminRequest body{};
    putBase64(body.strUser, std::string(administrator));
    putBase64(body.strPassword, after);
    session.exchange().setCredentials(makeCredentials(before));
    try {
        session.change(VXP_OP_CHANGE_ADMIN, body);
    } catch (const Failure &failure) {
        // Whether the request or its answer was lost, the new password tells.
        if (failure.exitCode() != ExitCode::noAnswer || !holds(session, after))
            throw;
    }
    Record record = session.result();
    record["result"] = holds(session, after) ? verified : unverified;
    if (record["result"] == unverified)
        session.problem(ExitCode::notVerified, "not_verified", "accepted the change, but refuses the new password",
                        "try the old one: vxpctl password check " + session.device().macText());
    return record;
}

std::string newPassword(const Options &options)
{
    SecretSource source{"new password of " + std::string(administrator)};
    source.file = options.value("--new-password-file").value_or("");
    source.variable = "VXPCTL_NEW_PASSWORD";
    source.fileOption = "--new-password-file";
    source.twice = true;
    const std::string password = readSecret(source);
    if (password.empty() || password.find_first_of(refusedCharacters) != password.npos)
        throw Failure(ExitCode::usage, {"bad_password",
                                        password.empty() ? "the new password is empty"
                                                         : "the new password has a character that devices refuse",
                                        "they refuse " + std::string(refusedCharacters)});
    makeCredentials(password); // refuses one that is too long
    return password;
}

ExitCode runCheck(const Options &options, Writer &writer, const Log &log)
{
    return administer(options, writer, log, {check});
}

ExitCode runChange(const Options &options, Writer &writer, const Log &log)
{
    SecretSource source{"present password of " + std::string(administrator), options.passwordFile, options.passwordFd,
                        "VXPCTL_PASSWORD", "--password-file"};
    const std::string before = options.dryRun ? "" : readSecret(source);
    const std::string after = options.dryRun ? "" : newPassword(options);
    return administer(options, writer, log, {[&](Session &session) { return change(session, before, after); }, false});
}

} // namespace

std::vector<Command> passwordCommands()
{
    const std::vector<Column> columns{{"NAME", "name"}, {"MAC", "mac"}, {"ADDRESS", "ip"}, {"RESULT", "result"}};
    return {
        {{"password check", columns},
         "Find out whether the administrator's password is right",
         "Exit status 0 when it is, 5 when the device refuses it.",
         deviceDefaults(),
         runCheck,
         CommandKind::device},
        {{"password change", columns},
         "Change the administrator's password",
         "The new password is asked for twice, or comes from a file or from VXPCTL_NEW_PASSWORD. It is tried\n"
         "afterwards. The change is lost at the next reboot unless it is saved: vxpctl save.",
         deviceDefaults(),
         runChange,
         CommandKind::device,
         {{"--new-password-file", "FILE", "Read the new password from a file that only you can read"}}},
    };
}

} // namespace vxpctl
