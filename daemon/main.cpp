// SPDX-License-Identifier: Apache-2.0
//
// vxpd: answers a management tool's UDP requests on the device's management interfaces.
#include "daemon/interfaces.h"
#include "daemon/loop.h"
#include "daemon/options.h"
#include "daemon/startup.h"

int main(int argc, char *argv[])
{
    prepareProcess();
    parseOptions(argc, argv);
    logBuild();
    logByteOrder();
    waitForDeviceManager();

    InterfaceTable table;
    if (!openInterfaces(&table))
        return -1;
    restoreSavedAddress();
    runLoop(table);
}
