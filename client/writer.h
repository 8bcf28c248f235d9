// SPDX-License-Identifier: Apache-2.0
//
// Everything that a command shows passes through one interface, so that the output formats cannot drift apart: a
// command hands over records and errors, the format decides how they look.
#ifndef VXP_CLIENT_WRITER_H
#define VXP_CLIENT_WRITER_H

#include "client/failure.h"
#include "client/record.h"

#include <cstddef>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace vxpctl
{

// What is promised to programs: it changes when a name in the envelope or in a record changes its meaning or goes.
inline constexpr std::string_view schemaName = "vxpctl/1";

enum class Format {
    table, // for people
    json,  // one envelope when the command ends: schema, command, devices, errors
    jsonl  // one object per line, as it comes: schema, command, and device or error
};

struct Column {
    std::string heading;
    std::string field;     // name of a value of the record
    std::size_t width = 0; // at least so many terminal columns; what comes as it happens cannot be measured first
};

// How a command's records look to people.
struct View {
    std::string command;
    std::vector<Column> columns;
    bool live = false; // show each record as it comes
};

class Writer
{
public:
    virtual ~Writer() = default;
    virtual void device(const Record &record) = 0;
    virtual void error(const Error &error) = 0;
    virtual void note(std::string_view line) = 0; // for people only
    virtual void finish() = 0;                    // last call
};

// Results go to out; with the table, errors and notes go to err.
std::unique_ptr<Writer> makeWriter(Format format, View view, std::ostream &out, std::ostream &err);

} // namespace vxpctl

#endif
