// SPDX-License-Identifier: Apache-2.0
//
// The simulated device's settings: in the store, and as text in the format of lsqlctl's dumps.
#ifndef VXP_LAB_SETTINGS_H
#define VXP_LAB_SETTINGS_H

#include <compare>
#include <map>
#include <optional>
#include <string>

namespace lab
{

// The name of one field of one row. Without an instance the object has no rows.
struct Name {
    std::string object;
    std::optional<std::string> instance;
    std::optional<std::string> qualifierField;
    std::optional<std::string> qualifierValue;
    std::string field;

    auto operator<=>(const Name &) const = default;
};

using Settings = std::map<Name, std::string>;

inline Name named(const char *object, const char *field)
{
    return {object, {}, {}, {}, field};
}

enum class Kind {
    configured, // what a person sets: saved, backed up, restored
    identity,   // what the device is, whatever it is told: MAC, interface, model, firmware version
    passing,    // current values, progress of jobs and triggers: gone with the next boot
};
Kind kindOf(const Name &name);

// Leaves only the fields of one kind.
Settings only(Kind kind, const Settings &settings);

// The store. Failures throw std::runtime_error with the store's own text.
Settings readStore();
std::string readSetting(const char *object, const char *field); // empty if it is not there
void writeSettings(const Settings &settings);                   // in one transaction
void replaceSettings(const Settings &settings);                 // and removes all else

// Writes only what differs from what is there, so that nobody is told of changes that are none.
void updateSettings(const Settings &settings);

// Dump lines. What cannot be read throws std::runtime_error that begins with "NAME:LINE: ".
std::string formatSettings(const Settings &settings);
Settings parseSettings(const std::string &text, const std::string &name);

} // namespace lab

#endif
