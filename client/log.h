// SPDX-License-Identifier: Apache-2.0
#ifndef VXP_CLIENT_LOG_H
#define VXP_CLIENT_LOG_H

#include "client/packet.h"
#include "client/text.h"

#include <ostream>
#include <string>
#include <string_view>
#include <syncstream>

namespace vxpctl
{

class CaptureFile;

// What -v and --trace tell, a line at a time, and --pcap writes; each only where there is something to write to;
// from several threads, too.
class Log
{
public:
    explicit Log(std::ostream *out = nullptr, std::ostream *pTrace = nullptr, CaptureFile *pCapture = nullptr)
        : m_out(out), m_trace(pTrace), m_capture(pCapture)
    {
    }
    void operator()(std::string_view line) const
    {
        if (m_out)
            std::osyncstream(*m_out) << "vxpctl: " << printable(line) << std::endl;
    }
    void packet(const Packet &packet) const; // without its secrets

private:
    std::ostream *m_out, *m_trace;
    CaptureFile *m_capture;
};

} // namespace vxpctl

#endif
