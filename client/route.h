// SPDX-License-Identifier: Apache-2.0
#ifndef VXP_CLIENT_ROUTE_H
#define VXP_CLIENT_ROUTE_H

#include "client/fields.h"

#include <optional>

namespace vxpctl
{

struct Route {
    unsigned index;     // of the interface
    bool local = false; // the address is this host's
};

// How the kernel would send to an address; nothing when it could not.
std::optional<Route> routeTo(const IPv4_Address &address);

} // namespace vxpctl

#endif
