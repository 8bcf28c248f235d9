// SPDX-License-Identifier: Apache-2.0
//
// TFTP with the distribution's in.tftpd, run as a child as inetd would: it is handed the socket of port 69 and leaves
// when it has not been used for long, or when it is told to.
#include "client/file_server.h"
#include "client/interrupt.h"
#include "client/temporary_folder.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fstream>
#include <linux/filter.h>
#include <mutex>
#include <poll.h>
#include <pwd.h>
#include <set>
#include <sstream>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <vector>

namespace vxpctl
{
namespace
{

constexpr std::uint16_t port = 69;
constexpr const char *program = "/usr/sbin/in.tftpd";
constexpr rlim_t mostBytes = 64 << 20; // of an upload

Failure cannotServe(ErrorCode code, const std::string &message, const std::string &hint)
{
    return Failure(ExitCode::localNetwork, {code, message, hint});
}

// The socket hears these devices and nobody else; see "Linux Socket Filtering" in the kernel's documentation.
void hearOnly(int fd, const std::multiset<std::uint32_t> &devices)
{
    constexpr unsigned sourceAddress = 12; // bytes into the IPv4 header
    std::vector<sock_filter> code{
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, static_cast<std::uint32_t>(SKF_NET_OFF) + sourceAddress)};
    for (const std::uint32_t address : devices) {
        code.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, address, 0, 1));
        code.push_back(BPF_STMT(BPF_RET | BPF_K, UINT32_MAX));
    }
    code.push_back(BPF_STMT(BPF_RET | BPF_K, 0));
    const sock_fprog filter{static_cast<unsigned short>(code.size()), code.data()};
    if (setsockopt(fd, SOL_SOCKET, SO_ATTACH_FILTER, &filter, sizeof filter) != 0)
        throw cannotServe("socket", std::string("cannot filter what reaches the TFTP server: ") + strerror(errno), "");
}

// Who the server becomes after it has locked itself into the folder: somebody without rights, where the system has
// such a user.
std::string chooseUser(const std::string &folder)
{
    const passwd *pUser = getpwnam("tftp");
    return pUser && chown(folder.c_str(), pUser->pw_uid, pUser->pw_gid) == 0 ? "tftp" : "root";
}

// Between fork and exec, where only async-signal-safe calls may stand (signal-safety(7)). The server speaks with the
// network: it gets neither the environment nor the descriptors, in which there may be passwords.
[[noreturn]] void becomeServer(int socket, const std::vector<char *> &words)
{
    const rlimit limit{mostBytes, mostBytes};
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    setpgid(0, 0); // an interrupt from the terminal is this program's to handle
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    setrlimit(RLIMIT_FSIZE, &limit);
    dup2(socket, STDIN_FILENO);
    close_range(STDERR_FILENO + 1, ~0U, CLOSE_RANGE_CLOEXEC);
    char *const noEnvironment[] = {nullptr};
    execve(words[0], words.data(), noEnvironment);
    _exit(127);
}

class TftpServer : public FileServer
{
public:
    explicit TftpServer(const std::string &address) : m_socket(bindServerPort(SOCK_DGRAM, address, port))
    {
        if (access(program, X_OK) != 0)
            throw cannotServe("no_server_program", std::string("there is no TFTP server program, ") + program,
                              "install it: sudo apt-get install tftpd-hpa");
        if (geteuid() != 0)
            throw cannotServe("permission", "the TFTP server can lock itself into a folder only when root starts it",
                              "run vxpctl with sudo, or name a server with --server");
        hearOnly(m_socket.get(), m_devices);
        start();
    }
    TftpServer(const TftpServer &) = delete;
    TftpServer &operator=(const TftpServer &) = delete;
    ~TftpServer() override
    {
        kill(-m_child, SIGKILL);
        waitpid(m_child, nullptr, 0);
    }
    std::unique_ptr<Offer> offer(const std::string &name, const IPv4_Address &device, Content content) override;
    void admit(const IPv4_Address &device, bool isWelcome);

private:
    void start()
    {
        std::vector<std::string> words{program,     "--secure", "--create", "--permissive",
                                       "--umask",   "077",      "--user",   chooseUser(m_folder.path()),
                                       "--timeout", "86400",    "--ipv4",   m_folder.path()};
        std::vector<char *> pointers;
        for (std::string &word : words)
            pointers.push_back(word.data());
        pointers.push_back(nullptr);
        m_child = fork();
        if (m_child == 0)
            becomeServer(m_socket.get(), pointers);
        if (m_child < 0)
            throw cannotServe("failure", std::string("cannot start ") + program + ": " + strerror(errno), "");
        setpgid(m_child, m_child); // whoever is first
    }

    FileDescriptor m_socket;
    const Interrupt m_interrupt{}; // a second signal, while the first is acted on, leaves no folder behind
    TemporaryFolder m_folder{};
    std::multiset<std::uint32_t> m_devices{};
    std::mutex m_mutex{};
    pid_t m_child = -1;
};

class TftpOffer : public Offer
{
public:
    TftpOffer(TftpServer &server, std::string path, const IPv4_Address &device)
        : m_server(server), m_path(std::move(path)), m_device(device)
    {
        m_server.admit(m_device, true);
    }
    TftpOffer(const TftpOffer &) = delete;
    TftpOffer &operator=(const TftpOffer &) = delete;
    ~TftpOffer() override
    {
        m_server.admit(m_device, false);
        unlink(m_path.c_str());
    }
    std::string received() const override
    {
        std::ostringstream bytes;
        bytes << std::ifstream(m_path, std::ios::binary).rdbuf();
        return bytes.str();
    }

private:
    TftpServer &m_server;
    std::string m_path;
    IPv4_Address m_device;
};

std::unique_ptr<Offer> TftpServer::offer(const std::string &name, const IPv4_Address &device, Content content)
{
    const std::string path = m_folder.path() + "/" + name;
    if (content) {
        std::ofstream file(path, std::ios::binary);
        file.write(content->data(), static_cast<std::streamsize>(content->size()));
        file.close();
        if (!file)
            throw Failure(ExitCode::failure, {"disk_full", "cannot write the file for the TFTP server, " + path,
                                              "make room there, or name another folder in TMPDIR"});
    }
    return std::make_unique<TftpOffer>(*this, path, device);
}

void TftpServer::admit(const IPv4_Address &device, bool isWelcome)
{
    std::uint32_t address;
    std::memcpy(&address, device.data(), sizeof address);
    const std::lock_guard lock(m_mutex);
    if (isWelcome)
        m_devices.insert(ntohl(address));
    else if (const auto found = m_devices.find(ntohl(address)); found != m_devices.end())
        m_devices.erase(found);
    hearOnly(m_socket.get(), m_devices);
}

} // namespace

std::unique_ptr<FileServer> makeTftpServer(const std::string &address)
{
    return std::make_unique<TftpServer>(address);
}

FileDescriptor bindServerPort(int type, const std::string &address, std::uint16_t number)
{
    const bool tcp = type == SOCK_STREAM;
    const std::string text = std::to_string(number), name = (tcp ? "TCP port " : "UDP port ") + text;
    FileDescriptor socket(::socket(AF_INET, type | SOCK_CLOEXEC, 0));
    sockaddr_in local{};
    local.sin_family = AF_INET;
    local.sin_port = htons(number);
    inet_pton(AF_INET, address.c_str(), &local.sin_addr);
    const int on = 1;
    if (tcp) // connections that have just ended do not matter
        setsockopt(socket.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    if (bind(socket.get(), reinterpret_cast<const sockaddr *>(&local), sizeof local) == 0)
        return socket;
    if (errno == EADDRINUSE)
        throw cannotServe("port_in_use", name + " is taken by another program, and devices know no other",
                          std::string("find it with: sudo ss -lnp") + (tcp ? "t" : "u") + " 'sport = :" + text +
                              "'; end it, or let it serve the file: --server " + address + " --name FILE");
    if (errno == EACCES || errno == EPERM)
        throw cannotServe("permission",
                          "not permitted to listen on " + name + ", and devices know no other (CAP_NET_BIND_SERVICE)",
                          "run vxpctl with sudo, or allow it to everybody until the next boot: sudo sysctl "
                          "net.ipv4.ip_unprivileged_port_start=" +
                              text);
    throw cannotServe("socket", "cannot listen on " + name + " of " + address + ": " + strerror(errno), "");
}

// RFC 1350: asks for the file, and breaks off when it comes.
bool isOnTftpServer(const std::string &address, const std::string &name)
{
    const FileDescriptor socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    sockaddr_in server{};
    server.sin_family = AF_INET;
    server.sin_port = htons(port);
    inet_pton(AF_INET, address.c_str(), &server.sin_addr);
    std::string request("\0\1", 2);
    request += name + '\0' + "octet" + '\0';
    for (int attempt = 0; attempt < 3; attempt++) {
        sendto(socket.get(), request.data(), request.size(), 0, reinterpret_cast<const sockaddr *>(&server),
               sizeof server);
        pollfd watched{socket.get(), POLLIN, 0};
        if (poll(&watched, 1, 1000) != 1)
            continue;
        char reply[516];
        socklen_t length = sizeof server;
        const ssize_t size =
            recvfrom(socket.get(), reply, sizeof reply, 0, reinterpret_cast<sockaddr *>(&server), &length);
        constexpr char enough[] = "\0\5\0\0enough";
        sendto(socket.get(), enough, sizeof enough, 0, reinterpret_cast<const sockaddr *>(&server), sizeof server);
        return size >= 4 && reply[1] != 5;
    }
    throw cannotServe("no_server", "no TFTP server answers at " + address + ", port 69",
                      "start it, or leave out --server: vxpctl then serves the file itself");
}

} // namespace vxpctl
