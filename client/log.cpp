// SPDX-License-Identifier: Apache-2.0
#include "client/log.h"

#include "client/capture.h"
#include "client/interfaces.h"
#include "client/operations.h"

#include <mutex>

namespace vxpctl
{

void Log::packet(const Packet &packet) const
{
    if (m_capture) {
        static std::mutex mutex;
        const std::lock_guard lock(mutex);
        m_capture->write(packet);
    }
    if (!m_trace)
        return;
    const auto shown = withoutSecrets(packet.payload);
    // ASCII alone: nothing of it is acted on by a terminal.
    const std::string text = describeDatagram(shown).dump(-1, ' ', true, Record::error_handler_t::replace);
    std::osyncstream(*m_trace) << "vxpctl: " << (packet.sent ? "to " : "from ") << interfaceName(packet.index) << ": "
                               << text << std::endl;
}

} // namespace vxpctl
