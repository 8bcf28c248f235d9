// SPDX-License-Identifier: Apache-2.0
#include "client/progress_line.h"

#include "client/text.h"

#include <cstdlib>
#include <iostream>
#include <string_view>
#include <sys/ioctl.h>
#include <unistd.h>
#include <utility>

namespace vxpctl
{
namespace
{

constexpr unsigned barWidth = 30;

bool isTerminal(const std::ostream &stream)
{
    const char *pTerminal = getenv("TERM");
    return &stream == &std::cerr && isatty(STDERR_FILENO) && std::string_view(pTerminal ? pTerminal : "") != "dumb";
}

std::size_t terminalWidth()
{
    winsize size{};
    return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col ? size.ws_col : 80;
}

std::string bar(unsigned percent)
{
    const unsigned filled = barWidth * percent / 100;
    return " [" + std::string(filled, '#') + std::string(barWidth - filled, '.') + "]";
}

std::string text(const Record &event, bool withBar)
{
    const bool known = event["percent"].is_number();
    const auto percent = known ? event["percent"].get<unsigned>() : 0;
    return printable(event["name"].get<std::string>()) + ": " + event["phase"].get<std::string>() +
           (known && withBar ? bar(percent) : "") + (known ? " " + std::to_string(percent) + " %" : "");
}

} // namespace

ProgressLine::ProgressLine(std::ostream &err, bool shown)
    : m_err(err), m_shown(shown), m_terminal(shown && isTerminal(err))
{
}

void ProgressLine::show(const Record &event)
{
    Record &latest = m_latest[event["mac"]];
    const bool isNew = latest.is_null() || latest["phase"] != event["phase"];
    latest = event;
    if (event["phase"] == "done")
        m_latest.erase(event["mac"]);
    else if (m_shown && !m_terminal && isNew)
        m_err << text(event, false) << std::endl;
    if (!m_terminal)
        return;
    erase();
    std::string line = this->line();
    while (displayWidth(line) >= terminalWidth()) { // the last column would wrap
        while ((line.back() & 0xC0) == 0x80)        // a character's later bytes
            line.pop_back();
        line.pop_back();
    }
    m_err << line << std::flush;
    m_drawn = !line.empty();
}

void ProgressLine::erase()
{
    if (std::exchange(m_drawn, false))
        m_err << "\r\x1b[K" << std::flush;
}

std::string ProgressLine::line() const
{
    std::string line;
    for (const auto &[mac, event] : m_latest)
        line += (line.empty() ? "" : ", ") + text(event, m_latest.size() == 1);
    return line;
}

} // namespace vxpctl
