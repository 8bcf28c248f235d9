// SPDX-License-Identifier: Apache-2.0
//
// The manager's side of the black-box tests: a network segment, access points in namespaces of their own that run the
// vxpd that ships, and datagrams as literal bytes.
//
// The programs under test are this build's, or what the environment names: VXP_BIN and VXP_LIB, run through
// VXP_EMULATOR with the target's libraries in VXP_SYSROOT. This program itself is always native.
#ifndef VXP_TESTS_BLACKBOX_DRIVER_H
#define VXP_TESTS_BLACKBOX_DRIVER_H

#include "tests/support/support.h"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

using Bytes = std::string; // of a datagram or a file
using namespace std::chrono_literals;

// Literal frames: hex("ee fe 01 00") + text("AP", 32) + zeros(4).
Bytes hex(std::string_view strDigits);
Bytes text(std::string_view strText, size_t uWidth); // padded with NUL, cut at uWidth
Bytes zeros(size_t uCount);

std::string formatted(const char *strFormat, int iValue); // by printf's rules
// Text in quotes, other bytes as two digits, "*N," behind what is there N times.
std::string compact(const Bytes &bytes);
std::vector<std::string> split(std::string_view strText, std::string_view strBetween); // "" is one empty part

// Equal bytes; a failure names the first offset that differs, with what follows there on both sides.
testing::AssertionResult same(const Bytes &expected, const Bytes &actual);

constexpr uint16_t PORT_REQUEST = 62976, PORT_REPLY = 62992;

// The access point's addresses, as every request to it names them and as its store says.
const Bytes OWN = hex("02 4b 65 73 74 01  c0 a8 4d 0a"); // 192.168.77.10
const Bytes ALL = hex("ff ff ff ff ff ff  00 00 00 00");
const Bytes TO_ONE = hex("77 77"), TO_ALL = hex("00 00");

// A request: 22 bytes and the body. uVersion and uBodyLen, which nobody looks at, are 1 and 0.
Bytes request(int iOperation, int iTag, const Bytes &body = {}, const Bytes &to = OWN, const Bytes &flag = TO_ONE);
uint16_t word(const Bytes &frame, size_t uOffset); // little-endian
Bytes le16(int iValue);
bool takesCredentials(int iOperation);

// What the standard settings accept, "sysop" and "kestrel-9", and with another password.
const Bytes USER = text("c3lzb3A=", 64), PASSWORD = text("a2VzdHJlbC05", 64), CREDENTIALS = USER + PASSWORD,
            WRONG_CREDENTIALS = USER + text("d3Jvbmc=", 64);

// An unknown operation, which reads no field but those that every request does, and its answer.
const Bytes UNKNOWN = request(0x99, 1), REFUSAL = hex("ee fe  01 00  99 00") + OWN + hex("03 00  02 00  00 00");

// "OBJECT FIELD" and its value, none for a field that is not there.
using Settings = std::map<std::string, std::optional<std::string>>;
Settings settingsOf(std::string_view strList); // "KEY: VALUE" with " | " in between; the value "(none)" is none
Settings standardSettings(Settings changes = {});

// How an access point is set up before its daemon starts.
struct Device {
    Settings settings = standardSettings();
    std::string strOptions = "";
    std::string strBefore = "";                     // shell commands inside, run just before the daemon
    std::string strOutput = ">/tmp/out 2>/tmp/err"; // where the daemon's output goes
    std::optional<Bytes> savedAddress = {};         // "/etc/reserved_IP"
    bool bLinkUp = true;
    bool bRecorded = false; // with the store library of recording_store.cpp, which takes the settings; no lsqlctl then
};

class AccessPoint
{
public:
    AccessPoint(std::string strName, const Device &device);
    ~AccessPoint(); // fails the test when the daemon has ended, or a sanitizer has spoken
    AccessPoint(const AccessPoint &) = delete;
    AccessPoint &operator=(const AccessPoint &) = delete;

    const std::string &folder() const { return m_strFolder; } // the device's state, see script/lib/access-point
    std::string out() const { return readFile(m_strFolder + "/tmp/out"); }
    std::string err() const { return readFile(m_strFolder + "/tmp/err"); }
    pid_t daemon() const;                                  // as seen from here
    Result run(const std::string &strCommand) const;       // in a shell inside
    Result inNetwork(const std::string &strCommand) const; // out here, in its network namespace: ip works
    void store(const Settings &settings) const;            // from now on a recorded store holds these and no others

    // The status of a daemon that is meant to end.
    int awaitExit() { return std::exchange(m_program, nullptr)->status(); }

private:
    std::string m_strFolder;
    std::unique_ptr<Program> m_program{};
};

class Socket
{
public:
    explicit Socket(uint16_t uPort); // receives what is broadcast to the port on the segment, sends to the request port
    ~Socket();
    Socket(const Socket &) = delete;
    Socket &operator=(const Socket &) = delete;

    void send(const Bytes &datagram) const;
    std::optional<Bytes> receive(std::chrono::milliseconds limit) const;

private:
    int m_iSocket;
};

// A segment with a manager on it, in the namespaces of this process; every test begins with one.
class Blackbox : public testing::Test
{
protected:
    // Start an access point; start() returns when its daemon has announced itself.
    AccessPoint &launch(const Device &device = {});
    AccessPoint &start(const Device &device = {});
    // The next announcement, or empty.
    Bytes announcement(std::chrono::milliseconds limit = 10s) const;

    void send(const Bytes &datagram) const { m_replies.send(datagram); }
    Bytes reply(std::chrono::milliseconds limit = 10s) const { return m_replies.receive(limit).value_or(Bytes{}); }
    Bytes ask(const Bytes &datagram) const;
    // Every reply to these datagrams, in order. Neighbour queries in between tell when all are handled, and keep the
    // socket buffers from overflowing.
    std::vector<Bytes> askAll(const std::vector<Bytes> &datagrams);

    int m_iProbe = 0xE000; // tag of the next such query; tests use lower ones

private:
    struct Segment {
        Segment();
    } m_segment;
    Socket m_announcements{PORT_REQUEST};
    Socket m_replies{PORT_REPLY};
    std::vector<std::unique_ptr<AccessPoint>> m_devices;
};

Result command(const std::string &strCommand); // in a shell out here
bool isEmulated();
bool isDaemonBigEndian();

#endif
