// SPDX-License-Identifier: Apache-2.0
//
// One request to one device, and its answer.
#ifndef VXP_CLIENT_EXCHANGE_H
#define VXP_CLIENT_EXCHANGE_H

#include "client/operations.h"
#include "client/options.h"
#include "client/target.h"

#include <cstdint>
#include <string>
#include <vector>

namespace vxpctl
{

// The administrator's name that devices know.
inline constexpr std::string_view administrator = "sysop";

// Names and passwords travel as Base64 in fields of 64 bytes. Throws Failure (usage) when the text is too long.
template <std::size_t size>
void putBase64(char (&field)[size], const std::string &text);

Credentials makeCredentials(const std::string &password);

// What --dry-run shows instead of sending a request.
struct NotSent {
    Record request; // decoded
    std::string bytes;
};

class Exchange
{
public:
    // Timeout and tries are those of options; credentials go in front of each body that needs them.
    Exchange(const Options &options, const Credentials &credentials, const Log &log)
        : m_options(options), m_credentials(credentials), m_log(log)
    {
    }
    void setCredentials(const Credentials &credentials) { m_credentials = credentials; }

    // The body of the answer. An answer counts when its kind, tag, operation and both addresses are right; a request is
    // sent again after growing gaps where that does no harm. Throws Failure when the device does not answer, refuses
    // the password or does not serve the operation, and NotSent in a dry run.
    std::vector<std::uint8_t> ask(const Device &device, const Operation &operation, Bytes body, double timeout = 0,
                                  int tries = 0) const; // seconds; 0: those of the options

private:
    const Options &m_options;
    Credentials m_credentials;
    const Log &m_log;
};

} // namespace vxpctl

#endif
