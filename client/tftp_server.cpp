// SPDX-License-Identifier: Apache-2.0
//
// TFTP with the distribution's in.tftpd, run as a child as inetd would: it is handed the socket of port 69 and leaves
// when it has not been used for long, or when it is told to.
#include "client/file_server.h"
#include "client/interrupt.h"
#include "client/server_port.h"
#include "client/temporary_folder.h"

#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fstream>
#include <poll.h>
#include <pwd.h>
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
        m_guests.watch(m_socket.get());
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
    Guests m_guests{};
    pid_t m_child = -1;
};

class TftpOffer : public Offer
{
public:
    TftpOffer(Guests &guests, std::string path, const IPv4_Address &device)
        : m_guests(guests), m_path(std::move(path)), m_device(device)
    {
        m_guests.admit(m_device);
    }
    TftpOffer(const TftpOffer &) = delete;
    TftpOffer &operator=(const TftpOffer &) = delete;
    ~TftpOffer() override
    {
        m_guests.dismiss(m_device);
        unlink(m_path.c_str());
    }
    std::string received() const override
    {
        std::ostringstream bytes;
        bytes << std::ifstream(m_path, std::ios::binary).rdbuf();
        return bytes.str();
    }

private:
    Guests &m_guests;
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
    return std::make_unique<TftpOffer>(m_guests, path, device);
}

} // namespace

std::unique_ptr<FileServer> makeTftpServer(const std::string &address)
{
    return std::make_unique<TftpServer>(address);
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
