// SPDX-License-Identifier: Apache-2.0
#include "client/commands.h"

#include "client/failure.h"

#include <ios>

namespace vxpctl
{
namespace
{

ExitCode runGuarded(const Command &command, const Options &options, Writer &writer, const Log &log)
{
    try {
        return command.run(options, writer, log);
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
    const Log log(options.verbose || options.trace ? &err : nullptr, options.trace ? &err : nullptr);
    const auto writer = makeWriter(options.format, command.view, options.selection, out, err);
    const ExitCode code = runGuarded(command, options, *writer, log);
    const ExitCode output = writer->finish();
    return code == ExitCode::done ? output : code;
}

} // namespace vxpctl
