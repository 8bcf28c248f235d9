// SPDX-License-Identifier: Apache-2.0
#ifndef VXP_DAEMON_LOOP_H
#define VXP_DAEMON_LOOP_H

struct InterfaceTable;

// Announce the device every 30 seconds of waiting and answer requests, one at a time, for ever.
[[noreturn]] void runLoop(const InterfaceTable &table);

#endif
