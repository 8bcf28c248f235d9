// SPDX-License-Identifier: Apache-2.0
#include "client/log.h"

#include "client/operations.h"

namespace vxpctl
{

void Log::datagram(std::string_view direction, Bytes bytes, std::string_view interface) const
{
    if (!m_trace)
        return;
    const auto shown = withoutSecrets(bytes);
    // ASCII alone: nothing of it is acted on by a terminal.
    const std::string text = describeDatagram(shown).dump(-1, ' ', true, Record::error_handler_t::replace);
    *m_trace << "vxpctl: " << direction << ' ' << interface << ": " << text << std::endl;
}

} // namespace vxpctl
