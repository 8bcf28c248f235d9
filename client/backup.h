// SPDX-License-Identifier: Apache-2.0
#ifndef VXP_CLIENT_BACKUP_H
#define VXP_CLIENT_BACKUP_H

#include "client/transfer.h"

#include <string>

namespace vxpctl
{

// Has a device send its configuration here, over TFTP. Throws Failure when it does not arrive, or not whole.
std::string fetchBackup(Session &session, const Device &device, const Servers &servers, double seconds);

} // namespace vxpctl

#endif
