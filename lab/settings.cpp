// SPDX-License-Identifier: Apache-2.0
#include "lab/settings.h"

#include "lsqlquery/field_text.h"
#include "lsqlquery/lsqlquery.h"
#include "lsqlquery/lsqlstore.h"

#include <cstdlib>
#include <sstream>
#include <stdexcept>
#include <vector>

namespace lab
{

namespace
{

struct Special {
    const char *object;
    const char *field; // null: all of the object's
    Kind kind;
};

constexpr Special SPECIAL[] = {
    {"management", "mac", Kind::identity},
    {"management", "interface", Kind::identity},
    {"system", "model", Kind::identity},
    {"system", "version", Kind::identity},
    {"management", "ip", Kind::passing},
    {"management", "mask", Kind::passing},
    {"management", "autoconfig-ipv6-global-all", Kind::passing},
    {"management", "ipv6-default-gateway", Kind::passing},
    {"ip-route", "gateway", Kind::passing},
    {"host", "dns-1", Kind::passing},
    {"host", "dns-2", Kind::passing},
    {"dhcp-lease", nullptr, Kind::passing},
    {"config", "status", Kind::passing},
    {"config", "startup", Kind::passing},
    {"firmware-upgrade", "progress", Kind::passing},
    {"system", "reboot", Kind::passing},
    {"system", "factory-reset", Kind::passing},
    {"system", "shutdown", Kind::passing},
    {"network", "apply", Kind::passing},
};

[[noreturn]] void failOfStore()
{
    const char *text;
    lsqlstore_last_error(&text);
    throw std::runtime_error(text);
}

std::optional<std::string> optional(const char *text)
{
    return text ? std::optional<std::string>(text) : std::nullopt;
}

Name nameOf(const lsqlstore_field &field)
{
    return {field.object, optional(field.instance), optional(field.qualifier_field), optional(field.qualifier_value),
            field.field};
}

const char *textOf(const std::optional<std::string> &text)
{
    return text ? text->c_str() : nullptr;
}

// Points into NAME and VALUE.
lsqlstore_field fieldOf(const Name &name, const std::string &value)
{
    return {name.object.c_str(),         textOf(name.instance), textOf(name.qualifierField),
            textOf(name.qualifierValue), name.field.c_str(),    value.c_str()};
}

void write(const Settings &settings, unsigned flags)
{
    std::vector<lsqlstore_field> fields;
    for (const auto &[name, value] : settings)
        fields.push_back(fieldOf(name, value));
    if (lsqlstore_write(fields.data(), fields.size(), flags, nullptr, nullptr) != LSQLSTORE_OK)
        failOfStore();
}

int collect(const lsqlstore_field *field, void *context)
{
    (*static_cast<Settings *>(context))[nameOf(*field)] = field->value;
    return 0;
}

} // namespace

Kind kindOf(const Name &name)
{
    for (const Special &special : SPECIAL)
        if (!name.instance && name.object == special.object && (!special.field || name.field == special.field))
            return special.kind;
    return Kind::configured;
}

Settings only(Kind kind, const Settings &settings)
{
    Settings result;
    for (const auto &[name, value] : settings)
        if (kindOf(name) == kind)
            result[name] = value;
    return result;
}

Settings readStore()
{
    Settings settings;
    const int outcome = lsqlstore_walk(nullptr, collect, &settings, nullptr);
    if (outcome != LSQLSTORE_OK && outcome != LSQLSTORE_NO_STORE)
        failOfStore();
    return settings;
}

std::string readSetting(const char *object, const char *field)
{
    lsqlquery_pv *const record = lsqlquery_get_pv(object, nullptr, field);
    std::string value = record ? record->value : "";
    lsqlquery_destroy_pv(record);
    return value;
}

void writeSettings(const Settings &settings)
{
    write(settings, LSQLSTORE_EXACT);
}

void replaceSettings(const Settings &settings)
{
    write(settings, LSQLSTORE_REPLACE);
}

void updateSettings(const Settings &settings)
{
    Settings present = readStore(), changed;
    for (const auto &[name, value] : settings)
        if (const auto found = present.find(name); found == present.end() || found->second != value)
            changed[name] = value;
    if (!changed.empty())
        writeSettings(changed);
}

std::string formatSettings(const Settings &settings)
{
    char *text = nullptr;
    std::size_t size = 0;
    FILE *const out = open_memstream(&text, &size);
    if (!out)
        throw std::bad_alloc();
    for (const auto &[name, value] : settings) {
        writeField(out, fieldOf(name, value));
        putc('\n', out);
    }
    fclose(out);
    std::string result(text, size);
    free(text);
    return result;
}

Settings parseSettings(const std::string &text, const std::string &name)
{
    Settings settings;
    std::istringstream in(text);
    std::string line;
    for (int number = 1; std::getline(in, line); number++) {
        const auto fail = [&](const std::string &problem) {
            throw std::runtime_error(name + ":" + std::to_string(number) + ": " + problem);
        };
        if (line.find('\0') != std::string::npos)
            fail("a NUL byte: this is not a settings file");
        lsqlstore_field field;
        if (const char *const problem = parseField(line.data(), field))
            fail(problem);
        if (field.object && !settings.emplace(nameOf(field), field.value).second)
            fail("this field was there already");
    }
    return settings;
}

} // namespace lab
