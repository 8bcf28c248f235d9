// SPDX-License-Identifier: Apache-2.0
#include "client/capture.h"
#include "client/commands.h"
#include "client/failure.h"

#include <ios>

namespace vxpctl
{
namespace
{

ExitCode runCaptured(const Command &command, const Options &options, Writer &writer, std::ostream &err)
{
    std::optional<CaptureFile> capture;
    if (!options.captureFile.empty())
        capture.emplace(options.captureFile);
    const Log log(options.verbose || options.trace ? &err : nullptr, options.trace ? &err : nullptr,
                  capture ? &*capture : nullptr);
    const ExitCode code = command.run(options, writer, log);
    if (!capture || capture->isWhole())
        return code;
    writer.error({"capture_unwritable", capture->error(), "what it should show was sent all the same"});
    return code == ExitCode::done ? ExitCode::failure : code;
}

ExitCode runGuarded(const Command &command, const Options &options, Writer &writer, std::ostream &err)
{
    try {
        return runCaptured(command, options, writer, err);
    } catch (const Failure &failure) {
        writer.error(failure.error());
        return failure.exitCode();
    } catch (const std::ios_base::failure &) { // nothing more can be shown
        throw;
    } catch (const std::exception &failure) {
        writer.error({"failure", std::string("unexpected: ") + failure.what(), "run it again with -v and report it"});
        return ExitCode::failure;
    }
}

} // namespace

ExitCode runCommand(const Command &command, const Options &options, std::ostream &out, std::ostream &err)
{
    const auto writer = makeWriter(options.format, command.view, options.selection, out, err);
    const ExitCode code = runGuarded(command, options, *writer, err);
    const ExitCode output = writer->finish();
    return code == ExitCode::done ? output : code;
}

} // namespace vxpctl
