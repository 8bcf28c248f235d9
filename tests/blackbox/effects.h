// SPDX-License-Identifier: Apache-2.0
//
// Requests whose effects are compared as a whole: a daemon with the recording store library and noting tools.
#ifndef VXP_TESTS_BLACKBOX_EFFECTS_H
#define VXP_TESTS_BLACKBOX_EFFECTS_H

#include "tests/blackbox/driver.h"

#include <span>

// Sequences are lines of recording_store.cpp and what the daemon prints, with " | " in between.
struct Effect {
    const char *strCase;
    Bytes body;
    Bytes reply;             // the whole frame
    std::string strSequence; // of the daemon's main thread
    Settings store = {};     // beside the standard settings
    Settings tools = {};     // what a tool does after it has noted its arguments; none: the tool is missing
    std::string strWorker = "";
};

// For a tool's end that takes the shell with it that has started it, as one that runs its last command in its own
// place.
constexpr char KILLED[] = "[ $(cat /proc/$PPID/comm) != sh ] || kill -9 $PPID; kill -9 $$";

class Effects : public Blackbox
{
protected:
    explicit Effects(const std::string &strOptions = "", const std::string &strErrors = "2>/tmp/err");

    // What is stored, and what tools do, from now on; nothing is noted so far.
    void prepare(const Settings &store, const Settings &tools = {});
    std::string noted(const std::string &strFile) const; // "effects", "worker", "tools": lines with " | " in between
    // Ask, and compare what is done until the next request is taken. body: behind the credentials, if there are any.
    void check(uint16_t uOperation, const Effect &effect, const Bytes &credentials = CREDENTIALS);
    void checkAll(uint16_t uOperation, std::span<const Effect> effects, const Bytes &credentials = CREDENTIALS);

    Settings m_always; // stored in every case
    AccessPoint &m_device;
};

// A reply to tag 0x1234: the operation and the body's length as they stand in the header.
Bytes replyFrame(std::string_view strOperation, std::string_view strLength, const Bytes &body);
// A status block in a reply.
Bytes statusFrame(std::string_view strOperation, std::string_view strStatus);

#endif
