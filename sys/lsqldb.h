// SPDX-License-Identifier: Apache-2.0
//
// The device's configuration store: texts addressed by object, optional instance (a row) and field. Nothing else in
// the daemon calls the store library.
//
// A getter always returns 1. It leaves dst as it was when the field is missing, so what the caller put there is the
// default; a longer value is cut to dst.size() - 1 characters. A setter returns the library's result, 0 on success,
// and prints the library's reason on standard output when a write fails.
//
// The Q1 forms mean, among the rows of that instance name, the one whose qualifier field holds the qualifier value.
#ifndef VXP_SYS_LSQLDB_H
#define VXP_SYS_LSQLDB_H

#include <span>

int LSQLdbGetStr(const char *strObject, const char *strField, std::span<char> dst);
int LSQLdbGetInstanceStr(const char *strObject, const char *strInstance, const char *strField, std::span<char> dst);
int LSQLdbGetInstanceStrQ1(const char *strObject, const char *strInstance, const char *strField,
                           const char *strQualifierField, const char *strQualifierValue, std::span<char> dst);

int LSQLdbSetStr(const char *strObject, const char *strField, const char *strValue);
int LSQLdbSetInstanceStr(const char *strObject, const char *strInstance, const char *strField, const char *strValue);
int LSQLdbSetInstanceStrQ1(const char *strObject, const char *strInstance, const char *strField,
                           const char *strQualifierField, const char *strQualifierValue, const char *strValue);

// These write one trigger field each; the store's owner does the work.
int LSQLdbFactoryReset(); // ("system", "factory-reset") = "yes"
int LSQLdbReboot();       // ("system", "reboot") = "yes"
int LSQLdbSaveRunning();  // ("config", "startup") = "running": the running settings become the start-up ones

#endif
