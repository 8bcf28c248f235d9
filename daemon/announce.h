// SPDX-License-Identifier: Apache-2.0
#ifndef VXP_DAEMON_ANNOUNCE_H
#define VXP_DAEMON_ANNOUNCE_H

struct InterfaceTable;

// Broadcast this device's announcement on every interface, to the port that devices listen on.
void announceAll(const InterfaceTable &table);

#endif
