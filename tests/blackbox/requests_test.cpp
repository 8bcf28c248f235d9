// SPDX-License-Identifier: Apache-2.0
//
// Which requests get no answer (bad_input_test.cpp changes each byte of the header, too), and which credentials are
// good.
#include "tests/blackbox/effects.h"

namespace
{

using BlackboxRequests = Blackbox;

const Bytes OWN_MAC = hex("02 4b 65 73 74 01");

struct Ignored {
    const char *strCase;
    Bytes datagram;
};

const Ignored IGNORED[] = {
    {"to all with the broadcast address", request(0xA1, 1, {}, hex("ff ff ff ff ff ff  ff ff ff ff"), TO_ALL)},
    {"to all with this device's address", request(0xA1, 1, {}, hex("ff ff ff ff ff ff  c0 a8 4d 0a"), TO_ALL)},
    {"to all with this device's MAC", request(0xA1, 1, {}, OWN_MAC + hex("00 00 00 00"), TO_ALL)},
    {"to all, and to this device by its addresses", request(0xA1, 1, {}, OWN, TO_ALL)},
    {"set basic info, to all", request(0xA2, 1, CREDENTIALS, ALL, TO_ALL)},
    {"user verification, to all", request(0xA3, 1, CREDENTIALS, ALL, TO_ALL)},
    {"network status, to all", request(0xC9, 1, CREDENTIALS, ALL, TO_ALL)},
    {"reboot, to all", request(0x103, 1, {}, ALL, TO_ALL)},
    {"unknown operation, to all", request(0x99, 1, {}, ALL, TO_ALL)},
    {"to one, addressed to all", request(0xA1, 1, {}, ALL)},
    {"a reply", hex("ee fe") + request(0xA1, 1).substr(2)},
    {"an announcement", hex("ff ff") + request(0xA1, 1).substr(2)},
};

TEST_F(BlackboxRequests, Ignored)
{
    AccessPoint &device = start();
    uint16_t uTag = 2;
    for (const Ignored &is : IGNORED) {
        SCOPED_TRACE(is.strCase);
        send(is.datagram);
        // Datagrams are answered in the order in which they came.
        EXPECT_EQ(word(ask(request(0xD0, uTag)), 2), uTag);
        uTag++;
    }
    EXPECT_EQ(device.out(), "");
}

struct Login {
    const char *strCase;
    Bytes body;
    bool bAccepted;
    const char *strStored = ""; // changes to the settings that accept CREDENTIALS
};

const Bytes USER = text("c3lzb3A=", 64), PASSWORD = text("a2VzdHJlbC05", 64);

const Login LOGINS[] = {
    {"right", CREDENTIALS, true},
    {"another user's name", text("Z3Vlc3Q=", 64) + PASSWORD, true},
    {"no user name", zeros(64) + PASSWORD, true},
    {"a user name that fills its field", Bytes(64, 'A') + PASSWORD, true},
    {"an unreadable user name", text("@@@ not base64 @@@", 64) + PASSWORD, true},
    {"the datagram ends with the password", CREDENTIALS.substr(0, 64 + 12), true},
    {"the datagram ends in the password", CREDENTIALS.substr(0, 64 + 8), false},
    {"no password", CREDENTIALS.substr(0, 64), false},
    {"no credentials", {}, false},
    {"wrong password", USER + text("d3Jvbmc=", 64), false},
    {"other case", USER + text("S2VzdHJlbC05", 64), false},
    {"the password as plain text", text("sysop", 64) + text("kestrel-9", 64), false},
    {"an unreadable password", USER + text("a2Vz*HJlbC05", 64), false},
    {"a password field without NUL", USER + Bytes(64, 'a') + PASSWORD, false},
    {"a longer hash", CREDENTIALS, true, // 63 characters, the most that may be stored
     "system encrypted-password: $5$0123456789abcdef$kXt2X1aPSvQzIkE.Fbop7kJvdKVIKyD9ytsHrtwjf99"},
    {"a password as long as its field", // 48 characters, "0123456789" and so on
     USER + "MDEyMzQ1Njc4OTAxMjM0NTY3ODkwMTIzNDU2Nzg5MDEyMzQ1Njc4OTAxMjM0NTY3", true,
     "system encrypted-password: $1$Kestra77$4okQFnAqnYqIPV3Ae0D.P1"},
    {"a hash of 64 characters", CREDENTIALS, false,
     "system encrypted-password: $5$rounds=1000$abcde$92mMukGutrTY5WUuJ5/fpPm24YN4VexSX2VylkuL9O9"},
    {"a hash that would match when cut to 63 characters", CREDENTIALS, false,
     "system encrypted-password: $5$0123456789abcdef$kXt2X1aPSvQzIkE.Fbop7kJvdKVIKyD9ytsHrtwjf99x"},
    {"a hash of 106 characters", CREDENTIALS, false,
     "system encrypted-password: $6$0123456789abcdef$rhp/QJEu4HWZ.tKaiW.EJzkCoDVYL5IAexdbA5418EALAVmn/"
     "G4tBRJV0hvrzomPQhu8bev8puCWclwXTUeBC0"},
    {"an unusable hash", CREDENTIALS, false, "system encrypted-password: *"},
    {"no hash, no password", text("c3lzb3A=", 128), false, "system encrypted-password: (none)"},
    {"an empty hash, no password", text("c3lzb3A=", 128), false, "system encrypted-password: "},
    {"another administrator", CREDENTIALS, false, "system username: admin"},
    {"other case of the administrator", CREDENTIALS, false, "system username: Sysop"},
    {"an administrator that begins alike", CREDENTIALS, false, "system username: sysop2"},
    {"no administrator", CREDENTIALS, false, "system username: (none)"},
};

TEST_F(Effects, Credentials)
{
    for (const Login &login : LOGINS) {
        SCOPED_TRACE(login.strCase);
        prepare(login.strStored);
        const Bytes answer = ask(request(0xA5, 9, login.body));
        EXPECT_EQ(word(answer, 16), login.bAccepted ? 0 : 2);
        EXPECT_EQ(answer.size(), login.bAccepted ? 58u : 22u);
    }
}

} // namespace
