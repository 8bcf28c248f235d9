// SPDX-License-Identifier: Apache-2.0
#ifndef VXP_CLIENT_LOG_H
#define VXP_CLIENT_LOG_H

#include "client/protocol.h"
#include "client/text.h"

#include <ostream>
#include <string>
#include <string_view>

namespace vxpctl
{

// What -v and --trace tell, a line at a time; silent without a stream.
class Log
{
public:
    explicit Log(std::ostream *out = nullptr, std::ostream *pTrace = nullptr) : m_out(out), m_trace(pTrace) {}
    void operator()(std::string_view line) const
    {
        if (m_out)
            *m_out << "vxpctl: " << printable(line) << std::endl;
    }
    // A datagram that was sent to or received from an interface, decoded and without its secrets.
    void datagram(std::string_view direction, Bytes bytes, std::string_view interface) const;

private:
    std::ostream *m_out, *m_trace;
};

} // namespace vxpctl

#endif
