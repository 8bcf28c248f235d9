// SPDX-License-Identifier: Apache-2.0
//
// The steps of start-up, in the order in which main() takes them.
#ifndef VXP_DAEMON_STARTUP_H
#define VXP_DAEMON_STARTUP_H

void prepareProcess();
void logBuild();
void logByteOrder();

// Wait for "/var/run/vxman.pid", looking once a second. The file belongs to the device manager; it is never opened.
void waitForDeviceManager();

// Store the static address, mask and gateway that a factory reset kept in "/etc/reserved_IP", switch DHCP off and
// delete the file. Exits with status 2 when memory is short and 3 when the file cannot be read whole.
void restoreSavedAddress();

#endif
