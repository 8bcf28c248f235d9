// SPDX-License-Identifier: Apache-2.0
#include "client/writer.h"

#include "client/progress_line.h"
#include "client/text.h"

#include <algorithm>
#include <cctype>
#include <utility>

namespace vxpctl
{
namespace
{

// A value as a table cell.
std::string cell(const Record &value);

std::string list(const Record &values)
{
    std::string text;
    for (const Record &item : values)
        text += (text.empty() ? "" : item.is_object() ? "; " : ",") + cell(item);
    return text.empty() ? "-" : text;
}

std::string pairs(const Record &object)
{
    std::string text;
    for (const auto &[name, value] : object.items())
        text += (text.empty() ? "" : " ") + name + "=" + cell(value);
    return text.empty() ? "-" : text;
}

std::string cell(const Record &value)
{
    if (value.is_boolean())
        return value.get<bool>() ? "on" : "off";
    if (value.is_string())
        return value == "" ? "-" : printable(value.get<std::string>());
    if (value.is_array())
        return list(value);
    if (value.is_object())
        return pairs(value);
    return value.is_null() ? "-" : value.dump();
}

// The columns of a view that fits any record: those it names and, when everything is wanted or none is named, the
// record's others.
std::vector<Column> columnsFor(std::vector<Column> columns, const Record &record, bool everything)
{
    if (!everything && !columns.empty())
        return columns;
    for (const auto &[name, value] : record.items()) {
        const auto shown = [&field = name](const Column &column) { return column.field == field; };
        if (std::any_of(columns.begin(), columns.end(), shown))
            continue;
        std::string heading = name;
        std::transform(heading.begin(), heading.end(), heading.begin(), [](unsigned char c) { return toupper(c); });
        columns.push_back({heading, name});
    }
    return columns;
}

// Shows errors and notes beside the results.
class TextWriter : public Writer
{
public:
    // Only tables are for people; how far a job has come is told to programs by the lines of -o jsonl.
    TextWriter(View view, std::ostream &out, std::ostream &err, bool table = true)
        : m_view(std::move(view)), m_out(out), m_err(err), m_progress(err, table)
    {
    }

    void error(const Error &error) override
    {
        try {
            flush();
        } catch (const std::ios_base::failure &) {
            tell(error);
            throw;
        }
        tell(error);
    }
    void note(std::string_view line) override
    {
        TextWriter::flush(); // a table's rows wait for each other, not for a note
        m_err << printable(line) << std::endl;
    }
    void event(const Record &event) override { m_progress.show(event); }
    void member(const std::string &, const Record &) override {}
    ExitCode finish() override
    {
        flush();
        return ExitCode::done;
    }

protected:
    // Before anything goes to the other stream: on a terminal the lines stand in the order of the calls.
    virtual void flush()
    {
        m_progress.erase();
        m_out.flush();
    }

    View m_view;
    std::ostream &m_out, &m_err;

private:
    void tell(const Error &error)
    {
        m_err << "vxpctl: " << printable(error.message) << '\n';
        if (!error.hint.empty())
            m_err << "  hint: " << printable(error.hint) << '\n';
    }

    ProgressLine m_progress;
};

class TableWriter : public TextWriter
{
public:
    TableWriter(View view, bool wide, std::ostream &out, std::ostream &err)
        : TextWriter(std::move(view), out, err), m_wide(wide)
    {
    }

    void device(const Record &record) override
    {
        if (!std::exchange(m_headed, true)) {
            m_view.columns = columnsFor(m_view.columns, record, m_wide);
            add([](const Column &column) { return column.heading; });
        }
        add([&record](const Column &column) { return cell(record.value(column.field, Record())); });
        if (m_view.live)
            flush();
    }

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
    void flush() override
    {
        TextWriter::flush();
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

    bool m_wide;
    bool m_headed = false;
    std::vector<Row> m_rows{};
};

// A line for each value: for records with more values than a table has room for.
class ListWriter : public TextWriter
{
public:
    using TextWriter::TextWriter;
    void device(const Record &record) override
    {
        std::size_t width = 0;
        for (const auto &[name, value] : record.items())
            width = std::max(width, name.size());
        m_out << (std::exchange(m_any, true) ? "\n" : "");
        for (const auto &[name, value] : record.items())
            m_out << name << std::string(width - name.size() + 2, ' ') << cell(value) << '\n';
    }

private:
    bool m_any = false;
};

// Comma-separated or bare values.
class DelimitedWriter : public TextWriter
{
public:
    DelimitedWriter(View view, bool csv, std::ostream &out, std::ostream &err)
        : TextWriter(std::move(view), out, err, false), m_csv(csv)
    {
    }
    void device(const Record &record) override
    {
        if (!std::exchange(m_headed, true)) {
            m_view.columns = columnsFor(m_view.columns, record, m_csv);
            if (m_csv)
                line([](const Column &column) { return column.field; });
        }
        line([&record](const Column &column) { return plain(record.value(column.field, Record())); });
        if (m_view.live)
            flush();
    }

private:
    static std::string plain(const Record &value)
    {
        if (value.is_boolean())
            return value.dump();
        const bool nothing = value.is_null() || value.empty() || value == "";
        return nothing ? "" : cell(value);
    }
    static std::string quoted(const std::string &text)
    {
        if (text.find_first_of(",\"") == text.npos)
            return text;
        std::string out = "\"";
        for (const char c : text)
            out += c == '"' ? "\"\"" : std::string(1, c);
        return out + '"';
    }
    void line(auto textOf)
    {
        std::string row;
        for (std::size_t i = 0; i < m_view.columns.size(); i++) {
            const std::string text = textOf(m_view.columns[i]);
            row += (i ? m_csv ? "," : "\t" : "") + (m_csv ? quoted(text) : text);
        }
        m_out << row << (m_csv ? "\r\n" : "\n");
    }

    bool m_csv;
    bool m_headed = false;
};

Record toRecord(const Error &error)
{
    return {
        {"code", std::string_view(error.code)},
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
    JsonWriter(const View &view, std::ostream &out) : m_records(view.record + "s"), m_out(out)
    {
        m_envelope["schema"] = schemaName;
        m_envelope["command"] = view.command;
        m_envelope["devices"] = Record::array();
        m_envelope[m_records] = Record::array();
        m_envelope["errors"] = Record::array();
    }
    void device(const Record &record) override { m_envelope[m_records].push_back(record); }
    void error(const Error &error) override { m_envelope["errors"].push_back(toRecord(error)); }
    void note(std::string_view) override {}
    void event(const Record &) override {}
    void member(const std::string &name, const Record &value) override { m_envelope[name] = value; }
    ExitCode finish() override
    {
        m_out << ascii(m_envelope, 2) << std::endl;
        return ExitCode::done;
    }

private:
    std::string m_records;
    std::ostream &m_out;
    Record m_envelope;
};

class JsonLinesWriter : public Writer
{
public:
    JsonLinesWriter(const View &view, std::ostream &out) : m_command(view.command), m_record(view.record), m_out(out) {}
    void device(const Record &record) override { line(m_record, record); }
    void error(const Error &error) override { line("error", toRecord(error)); }
    void note(std::string_view) override {}
    void event(const Record &event) override { line("event", event); }
    void member(const std::string &name, const Record &value) override { line(name, value); }
    ExitCode finish() override { return ExitCode::done; }

private:
    void line(const std::string &kind, const Record &content)
    {
        const Record object{{"schema", schemaName}, {"command", m_command}, {kind, content}};
        m_out << ascii(object, -1) << std::endl;
    }

    std::string m_command, m_record;
    std::ostream &m_out;
};

} // namespace

std::unique_ptr<Writer> makeWriter(Format format, View view, std::ostream &out, std::ostream &err)
{
    switch (format) {
    case Format::json:
        return std::make_unique<JsonWriter>(view, out);
    case Format::jsonl:
        return std::make_unique<JsonLinesWriter>(view, out);
    case Format::csv:
    case Format::value:
        return std::make_unique<DelimitedWriter>(std::move(view), format == Format::csv, out, err);
    case Format::table:
        if (view.columns.empty())
            return std::make_unique<ListWriter>(std::move(view), out, err);
        break;
    case Format::wide:
        break;
    }
    return std::make_unique<TableWriter>(std::move(view), format == Format::wide, out, err);
}

} // namespace vxpctl
