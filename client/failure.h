// SPDX-License-Identifier: Apache-2.0
//
// What went wrong, in the one form that every output format shows.
#ifndef VXP_CLIENT_FAILURE_H
#define VXP_CLIENT_FAILURE_H

#include "client/error_code.h"
#include "client/exit_code.h"

#include <stdexcept>
#include <string>
#include <utility>

namespace vxpctl
{

struct Error {
    ErrorCode code;       // for programs
    std::string message;  // for people: what happened, to what
    std::string hint;     // what to do next; may be empty
    std::string device{}; // MAC address of the device concerned; empty when it is none's fault
};

// Ends the command: main shows the error and leaves with the exit code.
class Failure : public std::runtime_error
{
public:
    Failure(ExitCode code, Error error) : std::runtime_error(error.message), m_exitCode(code), m_error(std::move(error))
    {
    }
    ExitCode exitCode() const { return m_exitCode; }
    const Error &error() const { return m_error; }

private:
    ExitCode m_exitCode;
    Error m_error;
};

} // namespace vxpctl

#endif
