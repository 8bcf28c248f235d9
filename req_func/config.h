// SPDX-License-Identifier: Apache-2.0
//
// Configuration backup and restore share one status field, and so see and block each other.
#ifndef VXP_REQ_FUNC_CONFIG_H
#define VXP_REQ_FUNC_CONFIG_H

constexpr char BACKUP_RUNNING[] = "config backup";
constexpr char RESTORE_RUNNING[] = "config upgrade"; // fetching
constexpr char RESTORE_VERIFYING[] = "verifying";
constexpr char JOB_COMPLETE[] = "complete";
constexpr char JOB_FAILED[] = "failed";
constexpr char JOB_NONE[] = "";

// ("config", "status") as it was last read.
struct ConfigStatus {
    char str[1024] = "";

    ConfigStatus() { read(); }
    void clear() { str[0] = '\0'; }
    void read(); // keeps what it holds when the field is missing
    bool is(const char *strStatus) const;
};

void setConfigStatus(const char *strStatus);

#endif
