// SPDX-License-Identifier: Apache-2.0
#ifndef VXP_LIB_MOUNT_CHECK_H
#define VXP_LIB_MOUNT_CHECK_H

// The mount point of the top-level folder of a path (a printf format and its arguments), or null when that folder is
// no mount point, its volume is damaged or "/proc/mounts" cannot be read. "/Volume_1/dumps" asks for "/Volume_1"; a
// device name of the mount table matches as well; the root file system never does. The result stands in a static
// buffer until the next call.
const char *afIsMounted(const char *strFormat, ...) __attribute__((format(printf, 1, 2)));

#endif
