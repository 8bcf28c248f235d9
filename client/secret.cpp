// SPDX-License-Identifier: Apache-2.0
#include "client/secret.h"

#include "client/failure.h"
#include "client/file_descriptor.h"
#include "client/interrupt.h"
#include "client/text.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <iostream>
#include <poll.h>
#include <sys/stat.h>
#include <termios.h>

namespace vxpctl
{
namespace
{

constexpr std::size_t longestFile = 4096; // bytes: a password file, not a disk

Failure unusable(const std::string &message, const std::string &hint)
{
    return Failure(ExitCode::usage, {"secret_unusable", message, hint});
}

std::string readAll(int fd, const std::string &name)
{
    std::string text;
    char buffer[512];
    ssize_t size = 0;
    while (text.size() <= longestFile && (size = read(fd, buffer, sizeof buffer)) > 0)
        text.append(buffer, static_cast<std::size_t>(size));
    if (size < 0)
        throw unusable("cannot read " + name + ": " + strerror(errno), "");
    if (text.size() > longestFile)
        throw unusable(name + " has more than 4096 bytes", "it should hold one line");
    return text;
}

std::string firstLine(const std::string &text)
{
    const std::string line = text.substr(0, text.find('\n'));
    return line.substr(0, line.find('\r'));
}

// The terminal without echo, while it lives.
class Silence
{
public:
    explicit Silence(int fd) : m_fd(fd)
    {
        tcgetattr(fd, &m_before);
        termios silent = m_before;
        silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        tcsetattr(fd, TCSAFLUSH, &silent);
    }
    Silence(const Silence &) = delete;
    Silence &operator=(const Silence &) = delete;
    ~Silence() { tcsetattr(m_fd, TCSAFLUSH, &m_before); }

private:
    int m_fd;
    termios m_before{};
};

// A line from a terminal. A signal ends the wait, so that the echo comes back.
std::string readLine(int fd)
{
    const Interrupt interrupt;
    pollfd watched[] = {{fd, POLLIN, 0}, {interrupt.fd(), POLLIN, 0}};
    std::string line;
    while (line.empty() || line.back() != '\n') {
        if (poll(watched, 2, -1) <= 0)
            continue;
        if (watched[1].revents)
            throw Failure(ExitCode::interrupted, {"interrupted", "interrupted; nothing was sent", ""});
        char buffer[256];
        const ssize_t size = read(fd, buffer, sizeof buffer);
        if (size <= 0)
            break;
        line.append(buffer, static_cast<std::size_t>(size));
    }
    return firstLine(line);
}

// On the terminal, wherever standard error goes.
std::string prompt(const FileDescriptor &terminal, const std::string &question)
{
    dprintf(terminal.get(), "%s: ", question.c_str());
    std::string line;
    {
        const Silence silence(terminal.get());
        line = readLine(terminal.get());
    }
    dprintf(terminal.get(), "\n");
    return line;
}

} // namespace

std::string readPrivateFile(const std::string &path)
{
    const FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    struct stat status {
    };
    if (file.get() < 0 || fstat(file.get(), &status) != 0)
        throw unusable("cannot open " + path + ": " + strerror(errno), "");
    if (S_ISREG(status.st_mode) && (status.st_mode & (S_IRWXG | S_IRWXO)))
        throw unusable("others have access to " + path, "take it from them: chmod 600 '" + path + "'");
    return readAll(file.get(), path);
}

std::string readSecret(const SecretSource &source)
{
    if (!source.file.empty())
        return firstLine(readPrivateFile(source.file));
    if (source.fd >= 0)
        return firstLine(readAll(source.fd, "descriptor " + std::to_string(source.fd)));
    if (const char *pValue = source.variable.empty() ? nullptr : getenv(source.variable.c_str()))
        return pValue;
    const FileDescriptor terminal(open("/dev/tty", O_RDWR | O_CLOEXEC | O_NOCTTY));
    if (terminal.get() < 0)
        throw unusable("the " + source.what + " is needed, and there is no terminal to ask for it",
                       "name a file that only you can read with " + source.fileOption);
    const std::string first = prompt(terminal, source.what);
    if (source.twice && prompt(terminal, source.what + ", once more") != first)
        throw unusable("the two were not the same; nothing was sent", "");
    return first;
}

bool isInteractive()
{
    return isatty(STDIN_FILENO) && isatty(STDERR_FILENO);
}

bool confirm(const std::string &question)
{
    std::cerr << question << " [y/N] " << std::flush;
    const std::string answer = readLine(STDIN_FILENO);
    return answer == "y" || answer == "yes" || answer == "Y";
}

} // namespace vxpctl
