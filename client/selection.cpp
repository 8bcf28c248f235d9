// SPDX-License-Identifier: Apache-2.0
#include "client/text.h"
#include "client/writer.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <optional>
#include <set>
#include <utility>

namespace vxpctl
{
namespace
{

// Addresses sort by their octets, numbers by size; what is missing comes first.
std::optional<std::uint32_t> ipv4(const Record &value)
{
    in_addr address{};
    if (value.is_string() && inet_pton(AF_INET, value.get_ref<const std::string &>().c_str(), &address) == 1)
        return ntohl(address.s_addr);
    return std::nullopt;
}

bool comesBefore(const Record &a, const Record &b)
{
    const auto first = ipv4(a), second = ipv4(b);
    return first && second ? *first < *second : a < b;
}

class SelectingWriter : public Writer
{
public:
    SelectingWriter(std::unique_ptr<Writer> next, Selection selection)
        : m_next(std::move(next)), m_selection(std::move(selection))
    {
    }
    void device(const Record &record) override
    {
        for (const auto &[name, value] : record.items())
            m_known.insert(name);
        if (m_selection.sort.empty())
            m_next->device(selected(record));
        else
            m_waiting.push_back(record);
    }
    void error(const Error &error) override { m_next->error(error); }
    void note(std::string_view line) override { m_next->note(line); }
    void event(const Record &event) override { m_next->event(event); }
    void member(const std::string &name, const Record &value) override { m_next->member(name, value); }
    ExitCode finish() override
    {
        showSorted();
        const std::string unknown = m_known.empty() ? "" : unknownField();
        if (!unknown.empty())
            m_next->error({"unknown_field", "no record has a field '" + unknown + "'", "the fields are " + names()});
        const ExitCode code = m_next->finish();
        return unknown.empty() ? code : ExitCode::usage;
    }

private:
    std::string sortField() const { return m_selection.sort.substr(m_selection.sort.starts_with('-') ? 1 : 0); }
    Record selected(const Record &record) const
    {
        if (m_selection.fields.empty())
            return record;
        Record out = Record::object();
        for (const std::string &field : m_selection.fields)
            out[field] = record.value(field, Record());
        return out;
    }
    void showSorted()
    {
        const bool down = m_selection.sort.starts_with('-');
        const auto order = [field = sortField(), down](const Record &a, const Record &b) {
            const Record &first = a.value(field, Record()), &second = b.value(field, Record());
            return down ? comesBefore(second, first) : comesBefore(first, second);
        };
        std::stable_sort(m_waiting.begin(), m_waiting.end(), order);
        for (const Record &record : m_waiting)
            m_next->device(selected(record));
    }
    std::string unknownField() const
    {
        std::vector<std::string> asked = m_selection.fields;
        if (!m_selection.sort.empty())
            asked.push_back(sortField());
        const auto unknown = std::find_if(asked.begin(), asked.end(), [&](const auto &f) { return !m_known.count(f); });
        return unknown == asked.end() ? "" : *unknown;
    }
    std::string names() const
    {
        std::string text;
        for (const std::string &name : m_known)
            text += (text.empty() ? "" : ", ") + name;
        return text;
    }

    std::unique_ptr<Writer> m_next;
    Selection m_selection;
    std::set<std::string> m_known{};
    std::vector<Record> m_waiting{};
};

} // namespace

std::unique_ptr<Writer> makeWriter(Format format, View view, const Selection &selection, std::ostream &out,
                                   std::ostream &err)
{
    if (!selection.fields.empty()) {
        std::vector<Column> columns;
        for (const std::string &field : selection.fields) {
            const auto known = std::find_if(view.columns.begin(), view.columns.end(),
                                            [&field](const Column &column) { return column.field == field; });
            std::string heading = field;
            std::transform(heading.begin(), heading.end(), heading.begin(), [](unsigned char c) { return toupper(c); });
            columns.push_back(known != view.columns.end() ? *known : Column{heading, field});
        }
        view.columns = std::move(columns);
    }
    return std::make_unique<SelectingWriter>(makeWriter(format, std::move(view), out, err), selection);
}

} // namespace vxpctl
