// SPDX-License-Identifier: Apache-2.0
#ifndef VXP_DAEMON_DUMP_H
#define VXP_DAEMON_DUMP_H

#include <cstddef>

extern const char *g_strDumpFolder; // "/Volume_1" unless the command line names another

// The kinds of dump: "FOLDER/vxp_req_NNNN" and "FOLDER/vxp_msg_NNNN".
enum class Dump { request, reply };

// In debug mode, and only while the dump folder's top-level folder is mounted: save a datagram as it was received, in
// wire order, and say so on standard error. The number counts both kinds, also the files that cannot be opened.
void dumpDatagram(Dump kind, const void *pData, size_t uLen);

#endif
