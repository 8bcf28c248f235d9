// SPDX-License-Identifier: Apache-2.0
//
// The half of the driver that deals with processes, sockets and namespaces.
#include "tests/blackbox/driver.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

namespace
{

constexpr char BRIDGE[] = "segment";
const std::string SCRIPTS = VXP_SOURCE_DIR "/script/lib/";

std::string environment(const char *strName, const char *strDefault)
{
    const char *const strValue = getenv(strName);
    return strValue && *strValue ? strValue : strDefault;
}

// Each byte of a value is \xNN.
std::string loadCommand(const Settings &settings)
{
    std::string strLoad = "lsqlctl load - <<'END'\n";
    for (const auto &[strName, value] : settings) {
        if (!value)
            continue;
        strLoad += strName + " \"";
        for (char ch : *value)
            strLoad += formatted("\\x%02x", static_cast<unsigned char>(ch));
        strLoad += "\"\n";
    }
    return strLoad + "END\n";
}

} // namespace

Result command(const std::string &strCommand)
{
    return capture([&] { return execute({"sh", "-c", strCommand}); });
}

bool isEmulated()
{
    return !environment("VXP_EMULATOR", "").empty();
}

bool isDaemonBigEndian()
{
    constexpr size_t EI_DATA = 5;
    return readFile(environment("VXP_BIN", VXP_BUILD_BIN) + "/vxpd").at(EI_DATA) == 2;
}

AccessPoint::AccessPoint(std::string strName, const Device &device) : m_strFolder("/dev/shm/" + strName)
{
    std::filesystem::remove_all(m_strFolder); // an earlier one's of this name
    for (const char *strFolder : {"/etc", "/run", "/tmp"})
        std::filesystem::create_directories(m_strFolder + strFolder);
    writeFile(m_strFolder + "/run/vxman.pid", "");
    if (device.savedAddress)
        writeFile(m_strFolder + "/etc/reserved_IP", *device.savedAddress);
    if (device.bRecorded)
        store(device.settings);
    writeFile(m_strFolder + "/tmp/start", (device.bRecorded ? "" : loadCommand(device.settings)) + device.strBefore +
                                              "\nexec vxpd " + device.strOptions + " " + device.strOutput + "\n");

    std::vector<std::string> words = {SCRIPTS + "access-point", "--hold", "--dir", m_strFolder, "--attach", BRIDGE};
    words.insert(words.end(),
                 {"--interface", "brtrunk", "--address", "192.168.77.10/24", "--mac", "02:4b:65:73:74:01"});
    words.insert(words.end(), {"--bin", environment("VXP_BIN", VXP_BUILD_BIN), "--lib",
                               environment("VXP_LIB", VXP_BUILD_LIB) + (device.bRecorded ? "/recording" : "")});
    if (isEmulated())
        words.insert(words.end(), {"--emulator", getenv("VXP_EMULATOR"), "--sysroot", environment("VXP_SYSROOT", "")});
    words.insert(words.end(), {"--", "sh", "/tmp/start"});
    m_program = std::make_unique<Program>([&] { return execute(words); });
    if (!eventually([this] { return !readFile(m_strFolder + "/pid").empty(); }))
        throw std::runtime_error("the access point does not start: " + m_program->err());
    if (!device.bLinkUp)
        inNetwork("ip link set brtrunk down");
    writeFile(m_strFolder + "/go", "\n");
}

AccessPoint::~AccessPoint()
{
    const std::string strErr = err();
    for (const char *strReport :
         {"ERROR: AddressSanitizer", "ERROR: LeakSanitizer", "WARNING: ThreadSanitizer", "runtime error:"})
        EXPECT_THAT(strErr, testing::Not(testing::HasSubstr(strReport)));
    if (!m_program)
        return;
    EXPECT_FALSE(m_program->ended()) << "the daemon has ended: " << out() << strErr;
    m_program->signal(SIGTERM);
    m_program->status();
}

pid_t AccessPoint::daemon() const
{
    const std::string strFirst = std::to_string(std::stoi(readFile(m_strFolder + "/pid")));
    std::string strChild;
    eventually([&] { return !(strChild = readFile("/proc/" + strFirst + "/task/" + strFirst + "/children")).empty(); });
    return std::stoi(strChild);
}

Result AccessPoint::run(const std::string &strCommand) const
{
    return capture([&] { return execute({SCRIPTS + "ap-exec", m_strFolder, "sh", "-c", strCommand}); });
}

Result AccessPoint::inNetwork(const std::string &strCommand) const
{
    const std::string strFirst = std::to_string(std::stoi(readFile(m_strFolder + "/pid")));
    return capture([&] { return execute({"nsenter", "--net=/proc/" + strFirst + "/ns/net", "sh", "-c", strCommand}); });
}

void AccessPoint::store(const Settings &settings) const
{
    std::string strLines;
    for (const auto &[strKey, value] : settings)
        if (value)
            strLines += "\n" + strKey + "\t" + *value;
    const std::string strFile = m_strFolder + "/etc/recorded_store.new";
    writeFile(strFile + "er", strLines);
    std::filesystem::rename(strFile + "er", strFile);
}

Socket::Socket(uint16_t uPort) : m_iSocket(check(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0), "socket"))
{
    const int iSize = 4 << 20; // of a buffer; as a switch, on
    for (int iOption : {SO_REUSEADDR, SO_BROADCAST, SO_RCVBUF, SO_SNDBUF})
        setsockopt(m_iSocket, SOL_SOCKET, iOption, &iSize, sizeof iSize);
    check(setsockopt(m_iSocket, SOL_SOCKET, SO_BINDTODEVICE, BRIDGE, sizeof BRIDGE), "SO_BINDTODEVICE");
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(uPort);
    check(bind(m_iSocket, reinterpret_cast<sockaddr *>(&address), sizeof address), "bind");
}

Socket::~Socket()
{
    close(m_iSocket);
}

void Socket::send(const Bytes &datagram) const
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(PORT_REQUEST);
    address.sin_addr.s_addr = htonl(INADDR_BROADCAST);
    check(static_cast<int>(sendto(m_iSocket, datagram.data(), datagram.size(), 0,
                                  reinterpret_cast<sockaddr *>(&address), sizeof address)),
          "sendto");
}

std::optional<Bytes> Socket::receive(std::chrono::milliseconds limit) const
{
    pollfd ready = {m_iSocket, POLLIN, 0};
    if (check(poll(&ready, 1, static_cast<int>(limit.count())), "poll") == 0)
        return std::nullopt;
    Bytes datagram(65536, '\0');
    datagram.resize(
        static_cast<size_t>(check(static_cast<int>(recv(m_iSocket, datagram.data(), datagram.size(), 0)), "recv")));
    return datagram;
}

Blackbox::Segment::Segment()
{
    const Result result = command(SCRIPTS + "segment create " + BRIDGE + " 192.168.77.1/24");
    if (result.iStatus != 0)
        throw std::runtime_error("no segment: " + result.strErr);
}

AccessPoint &Blackbox::launch(const Device &device)
{
    m_devices.push_back(std::make_unique<AccessPoint>("ap" + std::to_string(m_devices.size()), device));
    return *m_devices.back();
}

// Run by hand or by CTest, the tests move into namespaces of their own first. Without them they are skipped: exit
// status 77, after the reason.
int main(int argc, char *argv[])
{
    testing::InitGoogleTest(&argc, argv);
    if (testing::GTEST_FLAG(list_tests) || getenv("VXP_BLACKBOX_INSIDE"))
        return RUN_ALL_TESTS();
    setenv("VXP_BLACKBOX_INSIDE", "1", 1);
    const std::string strFilter = "--gtest_filter=" + testing::GTEST_FLAG(filter);
    execl((SCRIPTS + "in-namespaces").c_str(), "in-namespaces", argv[0], strFilter.c_str(), nullptr);
    perror("in-namespaces");
    return 1;
}
