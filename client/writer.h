// SPDX-License-Identifier: Apache-2.0
//
// Everything that a command shows passes through one interface, so that the output formats cannot drift apart: a
// command hands over records and errors, the format decides how they look.
#ifndef VXP_CLIENT_WRITER_H
#define VXP_CLIENT_WRITER_H

#include "client/failure.h"
#include "client/record.h"

#include <cstddef>
#include <exception>
#include <ios>
#include <memory>
#include <mutex>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace vxpctl
{

// What is promised to programs: it changes when a name in the envelope or in a record changes its meaning or goes.
inline constexpr std::string_view schemaName = "vxpctl/1";

enum class Format {
    table, // for people: the command's columns, or a list of names and values
    wide,  // a table of everything
    json,  // one envelope when the command ends: schema, command, devices, errors
    jsonl, // one object per line, as it comes: schema, command, and device or error
    csv,   // RFC 4180, with the names of the fields in the first line
    value, // bare values between tabs, a line per device
};

struct Column {
    std::string heading;
    std::string field;     // name of a value of the record
    std::size_t width = 0; // at least so many terminal columns; what comes as it happens cannot be measured first
};

// How a command's records look to people.
struct View {
    std::string command;
    std::vector<Column> columns;   // none: each record is a list of names and values
    bool live = false;             // show each record as it comes
    std::string record = "device"; // what a record is about; with an "s", its array in the envelope
};

class Writer
{
public:
    virtual ~Writer() = default;
    virtual void device(const Record &record) = 0;
    virtual void error(const Error &error) = 0;
    virtual void note(std::string_view line) = 0; // for people only
    // How far a job has come: mac, name, phase, and percent where it is known. The phase "done" ends it.
    virtual void event(const Record &event) = 0;
    virtual void member(const std::string &name, const Record &value) = 0; // of the envelope, beside the arrays
    virtual ExitCode finish() = 0; // last call; done, or what is wrong with the output asked for
};

// Another writer, called from one thread at a time. When the output is lost, to a closed pipe or a full disk, what is
// under way on a device goes on to its end; then throwIfLost().
class SharedWriter : public Writer
{
public:
    explicit SharedWriter(Writer &writer) : m_writer(writer) {}
    void device(const Record &record) override
    {
        locked([&] { m_writer.device(record); });
    }
    void error(const Error &error) override
    {
        locked([&] { m_writer.error(error); });
    }
    void note(std::string_view line) override
    {
        locked([&] { m_writer.note(line); });
    }
    void event(const Record &event) override
    {
        locked([&] { m_writer.event(event); });
    }
    void member(const std::string &name, const Record &value) override
    {
        locked([&] { m_writer.member(name, value); });
    }
    ExitCode finish() override { return m_writer.finish(); }
    bool isLost()
    {
        const std::lock_guard lock(m_mutex);
        return m_lost != nullptr;
    }
    void throwIfLost() // std::ios_base::failure
    {
        if (isLost())
            std::rethrow_exception(m_lost);
    }

private:
    void locked(auto action)
    {
        const std::lock_guard lock(m_mutex);
        try {
            action();
        } catch (const std::ios_base::failure &) {
            m_lost = std::current_exception();
        }
    }

    Writer &m_writer;
    std::mutex m_mutex{};
    std::exception_ptr m_lost{};
};

// Results go to out; with the formats that are not JSON, errors and notes go to err.
std::unique_ptr<Writer> makeWriter(Format format, View view, std::ostream &out, std::ostream &err);

// What the user wants to see of each record, and in which order.
struct Selection {
    std::vector<std::string> fields{}; // empty: all
    std::string sort{};                // field; empty: as they come; with a "-" before it, the other way round
};

// As makeWriter, with a selection. A field that no record has becomes an error of the code "unknown_field".
std::unique_ptr<Writer> makeWriter(Format format, View view, const Selection &selection, std::ostream &out,
                                   std::ostream &err);

} // namespace vxpctl

#endif
