// SPDX-License-Identifier: Apache-2.0
#ifndef VXP_CLIENT_PROGRESS_LINE_H
#define VXP_CLIENT_PROGRESS_LINE_H

#include "client/record.h"

#include <map>
#include <ostream>
#include <string>

namespace vxpctl
{

// Shows people how far the jobs on the devices have come: on a terminal one line at the bottom, with a bar for a single
// device; elsewhere a line for each phase. Silent where nobody is to see it.
class ProgressLine
{
public:
    ProgressLine(std::ostream &err, bool shown);
    void show(const Record &event); // mac, name, phase, percent; see Writer::event
    void erase();                   // before anything else is printed there

private:
    std::string line() const;

    std::ostream &m_err;
    bool m_shown, m_terminal;
    bool m_drawn = false;
    std::map<std::string, Record> m_latest{}; // by MAC address
};

} // namespace vxpctl

#endif
