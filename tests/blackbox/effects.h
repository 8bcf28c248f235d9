// SPDX-License-Identifier: Apache-2.0
//
// Requests whose effects are compared as a whole: a daemon with the recording store library and noting tools.
#ifndef VXP_TESTS_BLACKBOX_EFFECTS_H
#define VXP_TESTS_BLACKBOX_EFFECTS_H

#include "tests/blackbox/driver.h"

#include <span>

// Lists have " | " in between: sequences are lines of recording_store.cpp and what the daemon prints, settings are
// "KEY: VALUE" with the value "(none)" for what is not there.
struct Effect {
    const char *strCase;
    Bytes body;                // behind the credentials, if there are any
    Bytes reply;               // its body
    std::string strSequence;   // of the daemon's main thread
    std::string strStore = ""; // settings beside the standard ones
    std::string strTools = ""; // what tools do after they have noted their arguments; none: the tool is missing
    std::string strWorker = "";
};

// For a tool's end that takes the shell with it that has started it, as one that runs its last command in its own
// place.
const std::string KILLED = "[ $(cat /proc/$PPID/comm) != sh ] || kill -9 $PPID; kill -9 $$";
const std::string TEN_MB = "yes|head -c 10000000";

// Of the transfer operations: starts and the query.
const Bytes TFTP4 = hex("01 01 01  c0 00 02 07"), HTTP4 = hex("01 02 01  c0 00 02 07"),
            SERVER6 = hex("20 01 0d b8") + zeros(11) + hex("07"), TFTP6 = hex("01 01 02") + SERVER6,
            HTTP6 = hex("01 02 02") + SERVER6, FILE_NAME = text("ap.bin", 128), QUERY = hex("02");

class Effects : public Blackbox
{
protected:
    explicit Effects(const std::string &strOptions = "", const std::string &strErrors = "2>/tmp/err");

    // What is stored, and what tools do, from now on; nothing is noted so far.
    void prepare(const std::string &strStore = "", const std::string &strTools = "");
    std::string noted(const std::string &strFile) const; // "effects", "worker", "tools": a list of lines
    // Ask, and compare what is done until the next request is taken.
    void check(int iOperation, const Effect &effect);
    void checkAll(int iOperation, std::span<const Effect> effects);

    std::string m_strAlways; // stored in every case
    AccessPoint &m_device;
};

// A sequence whose every write is tried in a store that refuses, and says so.
const std::string REFUSING = "@fail: 100% full";
std::string refusing(const std::string &strSequence);

// The reply to tag 0x1234.
Bytes replyFrame(int iOperation, const Bytes &body);
Bytes status(std::string_view strStatus = "00");                     // a status block
Bytes asOperation(int iOperation, int iTag, const Bytes &body = {}); // a request, with credentials if need be

#endif
