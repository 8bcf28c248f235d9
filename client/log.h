// SPDX-License-Identifier: Apache-2.0
#ifndef VXP_CLIENT_LOG_H
#define VXP_CLIENT_LOG_H

#include "client/text.h"

#include <ostream>
#include <string_view>

namespace vxpctl
{

// What -v tells, a line at a time; silent without a stream.
class Log
{
public:
    explicit Log(std::ostream *out = nullptr) : m_out(out) {}
    void operator()(std::string_view line) const
    {
        if (m_out)
            *m_out << "vxpctl: " << printable(line) << std::endl;
    }

private:
    std::ostream *m_out;
};

} // namespace vxpctl

#endif
