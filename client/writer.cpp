// SPDX-License-Identifier: Apache-2.0
#include "client/writer.h"

#include "client/text.h"

#include <algorithm>
#include <utility>

namespace vxpctl
{
namespace
{

// A value as a table cell.
std::string cell(const Record &value)
{
    if (value.is_boolean())
        return value.get<bool>() ? "on" : "off";
    if (value.is_string())
        return value == "" ? "-" : printable(value.get<std::string>());
    if (value.is_array()) {
        std::string list;
        for (const Record &item : value)
            list += (list.empty() ? "" : ",") + cell(item);
        return list.empty() ? "-" : list;
    }
    return value.is_null() ? "-" : value.dump();
}

class TableWriter : public Writer
{
public:
    TableWriter(View view, std::ostream &out, std::ostream &err) : m_view(std::move(view)), m_out(out), m_err(err) {}

    void device(const Record &record) override
    {
        if (!std::exchange(m_headed, true))
            add([](const Column &column) { return column.heading; });
        add([&record](const Column &column) { return cell(record.value(column.field, Record())); });
        if (m_view.live)
            printRows();
    }
    void error(const Error &error) override
    {
        printRows();
        m_err << "vxpctl: " << printable(error.message) << '\n';
        if (!error.hint.empty())
            m_err << "  hint: " << printable(error.hint) << '\n';
    }
    void note(std::string_view line) override
    {
        printRows();
        m_err << printable(line) << std::endl;
    }
    void finish() override { printRows(); }

private:
    using Row = std::vector<std::string>;

    void add(auto cellOf)
    {
        Row row;
        for (Column &column : m_view.columns) {
            row.push_back(cellOf(column));
            if (!m_view.live)
                column.width = std::max(column.width, displayWidth(row.back()));
        }
        m_rows.push_back(std::move(row));
    }
    // Before anything goes to the other stream: on a terminal the lines stand in the order of the calls.
    void printRows()
    {
        for (const Row &row : std::exchange(m_rows, {}))
            print(row);
        m_out.flush();
    }
    void print(const Row &row)
    {
        std::string line;
        for (std::size_t i = 0; i < row.size(); i++) {
            const std::size_t used = displayWidth(row[i]), wanted = m_view.columns[i].width;
            line += row[i] + std::string(used < wanted ? wanted - used : 0, ' ') + "  ";
        }
        line.erase(line.find_last_not_of(' ') + 1);
        m_out << line << '\n';
    }

    View m_view;
    std::ostream &m_out, &m_err;
    bool m_headed = false;
    std::vector<Row> m_rows{};
};

Record toRecord(const Error &error)
{
    return {
        {"code", error.code},
        {"message", validUtf8(error.message)},
        {"hint", validUtf8(error.hint)},
        {"device", error.device.empty() ? Record(nullptr) : Record(error.device)},
    };
}

// Non-ASCII and DEL are written as \uNNNN: every program reads the same text, and no terminal acts on it.
std::string ascii(const Record &value, int indent)
{
    return value.dump(indent, ' ', true, Record::error_handler_t::replace);
}

class JsonWriter : public Writer
{
public:
    JsonWriter(std::string_view command, std::ostream &out) : m_out(out)
    {
        m_envelope["schema"] = schemaName;
        m_envelope["command"] = command;
        m_envelope["devices"] = Record::array();
        m_envelope["errors"] = Record::array();
    }
    void device(const Record &record) override { m_envelope["devices"].push_back(record); }
    void error(const Error &error) override { m_envelope["errors"].push_back(toRecord(error)); }
    void note(std::string_view) override {}
    void finish() override { m_out << ascii(m_envelope, 2) << std::endl; }

private:
    std::ostream &m_out;
    Record m_envelope;
};

class JsonLinesWriter : public Writer
{
public:
    JsonLinesWriter(std::string_view command, std::ostream &out) : m_command(command), m_out(out) {}
    void device(const Record &record) override { line("device", record); }
    void error(const Error &error) override { line("error", toRecord(error)); }
    void note(std::string_view) override {}
    void finish() override {}

private:
    void line(const char *pKind, const Record &content)
    {
        const Record object{{"schema", schemaName}, {"command", m_command}, {pKind, content}};
        m_out << ascii(object, -1) << std::endl;
    }

    std::string m_command;
    std::ostream &m_out;
};

} // namespace

std::unique_ptr<Writer> makeWriter(Format format, View view, std::ostream &out, std::ostream &err)
{
    switch (format) {
    case Format::json:
        return std::make_unique<JsonWriter>(view.command, out);
    case Format::jsonl:
        return std::make_unique<JsonLinesWriter>(view.command, out);
    case Format::table:
        break;
    }
    return std::make_unique<TableWriter>(std::move(view), out, err);
}

} // namespace vxpctl
