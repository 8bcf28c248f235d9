// SPDX-License-Identifier: Apache-2.0
//
// The codes by which programs tell errors apart. Scripts depend on them: none changes its meaning, none is used again.
// vxpctl.schema.json and vxpctl(1) have the same list.
#ifndef VXP_CLIENT_ERROR_CODE_H
#define VXP_CLIENT_ERROR_CODE_H

#include <algorithm>
#include <array>
#include <stdexcept>
#include <string_view>

namespace vxpctl
{

inline constexpr std::string_view healthy = "healthy"; // of a verdict: no error
inline constexpr auto errorCodes = std::to_array<std::string_view>({
    "address_conflict",
    "ambiguous_target",
    "auth_failed",
    "backup_broken",
    "bad_password",
    "bad_reply",
    "busy",
    "cache_unwritable",
    "cannot_write",
    "capture_damaged",
    "capture_unreadable",
    "capture_unwritable",
    "device_error",
    "disk_full",
    "failure",
    "file_exists",
    "firewall",
    "firewall_out",
    "foreign_subnet",
    "interface_down",
    "interface_not_found",
    "interface_unusable",
    "interfaces_unreadable",
    "interrupted",
    "key_too_long",
    "loss",
    "no_answer",
    "no_device",
    "no_file",
    "no_interface",
    "no_link",
    "no_message",
    "no_route",
    "no_server",
    "no_server_program",
    "not_answered",
    "not_back",
    "not_checked",
    "not_confirmed",
    "not_fetched",
    "not_received",
    "not_sent",
    "not_supported",
    "not_verified",
    "other_route",
    "permission",
    "port_in_use",
    "receive",
    "rp_filter",
    "secret_unusable",
    "send_failed",
    "socket",
    "too_long",
    "unknown_field",
    "unreachable",
    "unreadable",
    "usage",
});

// One of the list: any other does not compile.
class ErrorCode
{
public:
    consteval ErrorCode(const char *pText) : m_text(pText)
    {
        if (m_text != healthy && std::find(errorCodes.begin(), errorCodes.end(), m_text) == errorCodes.end())
            throw std::logic_error("this code is not in the list");
    }
    constexpr operator std::string_view() const { return m_text; }
    bool operator==(const ErrorCode &) const = default;

private:
    std::string_view m_text;
};

} // namespace vxpctl

#endif
