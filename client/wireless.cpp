// SPDX-License-Identifier: Apache-2.0
//
// wireless get and set: security and key of the eight networks.
//
// The wire sets all eight at once, and an empty key is stored as it is: every key that is not to change has to be read
// and sent back. Keys longer than their field run on into the next entry, up to its security setting when they are
// sent, up to its key when they are read.
#include "client/commands.h"

#include "client/session.h"

#include <array>
#include <charconv>

namespace vxpctl
{
namespace
{

constexpr std::size_t longestKey =
    sizeof(VAP_Entry::strKey) + offsetof(VAP_Entry, strSecurity) - 1; // characters, with the NUL before the setting
using Keys = std::array<std::optional<std::string>, VAP_COUNT>;       // nothing: longer than what can be read

struct Security {
    const char *pName;
    const char *pCode;
    std::size_t shortest; // characters of a key
};
constexpr Security securities[] = {{"open", "6", 0},           {"wep", "1", 1},           {"wpa-personal", "2", 8},
                                   {"wpa-enterprise", "3", 0}, {"wpa2-personal", "4", 8}, {"wpa2-enterprise", "5", 0}};

Failure usage(const std::string &message, const std::string &hint = {})
{
    return Failure(ExitCode::usage, {"usage", message, hint});
}

Keys readKeys(Session &session)
{
    const auto body = session.ask(VXP_OP_GET_MULTI_SSID);
    Keys keys;
    for (std::size_t i = 0; i < VAP_COUNT; i++) {
        const std::size_t offset =
            offsetof(MultiSSID_Reply, entries) + i * sizeof(VAP_Entry) + offsetof(VAP_Entry, strKey);
        const std::size_t room = std::min(sizeof(VAP_Entry), sizeof(MultiSSID_Reply) - offset);
        const std::string_view text(reinterpret_cast<const char *>(&body[offset]), room);
        if (const std::size_t end = text.find('\0'); end != text.npos)
            keys[i] = text.substr(0, end);
    }
    return keys;
}

struct Change {
    std::size_t network = 0;
    const Security *pSecurity = nullptr; // null: as it is
    std::optional<std::string> key{};    // nothing: as it is
    std::string ssid{}, vlan{};
};

// Room for the last key to run on.
constexpr std::size_t requestSize = sizeof(MultiSSID_Request) + longestKey;

std::vector<std::uint8_t> makeBody(const Keys &keys, const Change &change)
{
    MultiSSID_Request request{};
    if (change.pSecurity)
        putSetting(request.entries[change.network].strSecurity, change.pSecurity->pCode, "the security setting");
    putSetting(request.entries[change.network].strVLAN, change.vlan, "the VLAN id");
    putSetting(request.entries[change.network].strSSID, change.ssid, "the SSID");
    std::vector<std::uint8_t> body(requestSize);
    std::memcpy(body.data(), &request, sizeof request);
    for (std::size_t i = 0; i < VAP_COUNT; i++) {
        const std::string &key = keys[i].value();
        std::memcpy(&body[offsetof(MultiSSID_Request, entries) + i * sizeof(VAP_Entry) + offsetof(VAP_Entry, strKey)],
                    key.data(), key.size());
    }
    body.resize(sizeof request + (keys.back()->size() < sizeof(VAP_Entry::strKey) ? 0 : longestKey));
    return body;
}

Record get(Session &session)
{
    Record record = session.result();
    record["networks"] = Record::array();
    const Keys keys = readKeys(session);
    for (std::size_t i = 0; i < VAP_COUNT; i++) {
        Record network{{"network", i}, {"key_length", keys[i] ? Record(keys[i]->size()) : Record(nullptr)}};
        if (session.options().given("--show-keys"))
            network["key"] = keys[i] ? Record(validUtf8(*keys[i])) : Record(nullptr);
        record["networks"].push_back(network);
    }
    return record;
}

Record set(Session &session, const Change &change)
{
    Keys keys;
    if (session.options().dryRun) // reading them takes the password
        keys.fill("");
    else
        keys = readKeys(session);
    if (change.key)
        keys[change.network] = change.key;
    for (std::size_t i = 0; i < VAP_COUNT; i++)
        if (!keys[i] || keys[i]->size() > longestKey)
            throw session.failure(ExitCode::deviceError, "key_too_long",
                                  "the key of network " + std::to_string(i) +
                                      " is too long to be read and sent back, and would be damaged; nothing was sent",
                                  "set the networks in the device's web interface");
    const auto body = makeBody(keys, change);
    session.exchange().ask(session.device(), operation(VXP_OP_SET_MULTI_SSID), body);
    Record record = session.result();
    record["network"] = change.network;
    // A network without a key, open or enterprise, reads as having none.
    const bool readable = change.key && !change.key->empty();
    record["result"] = accepted;
    if (const Keys now = readKeys(session); readable && now[change.network] == change.key)
        record["result"] = verified;
    else if (now != keys && !change.pSecurity) {
        record["result"] = unverified;
        session.problem(ExitCode::notVerified, "not_verified", "accepted the change, but reports other keys",
                        "a key is kept only by a network with WEP or WPA personal security: give --security");
    }
    return record;
}

std::string newKey(const Options &options)
{
    SecretSource source{"key of the wireless network"};
    source.file = options.value("--key-file").value_or("");
    source.variable = "VXPCTL_WIRELESS_KEY";
    source.fileOption = "--key-file";
    source.twice = true;
    return readSecret(source);
}

Change changeFrom(const Options &options)
{
    Change change;
    const std::string number = options.value("--network").value();
    const auto [pEnd, error] = std::from_chars(number.data(), number.data() + number.size(), change.network);
    if (error != std::errc() || *pEnd || change.network >= VAP_COUNT)
        throw usage("'" + number + "' is no network: they are numbered 0 to 7 (--network)");
    if (const auto name = options.value("--security"))
        for (const Security &security : securities)
            if (*name == security.pName)
                change.pSecurity = &security;
    const bool wantsKey = change.pSecurity && change.pSecurity->shortest;
    if (!options.dryRun && (options.given("--key-file") || options.given("--ask-key") || wantsKey))
        change.key = newKey(options);
    if (change.key && change.key->size() > longestKey)
        throw usage("the key has more than " + std::to_string(longestKey) + " characters, the protocol's limit");
    if (change.key && wantsKey && change.key->size() < change.pSecurity->shortest)
        throw usage("the key is too short: " + std::to_string(change.pSecurity->shortest) + " characters at least");
    change.ssid = options.value("--ssid").value_or("");
    change.vlan = options.value("--vlan").value_or("");
    makeBody(
        [] {
            Keys none;
            none.fill("");
            return none;
        }(),
        change); // refuses what does not fit
    return change;
}

ExitCode runGet(const Options &options, Writer &writer, const Log &log)
{
    return administer(options, writer, log, {get});
}

ExitCode runSet(const Options &options, Writer &writer, const Log &log)
{
    const Change change = changeFrom(options);
    if (!options.dryRun && !change.pSecurity && !change.key && change.ssid.empty() && change.vlan.empty())
        throw usage("nothing to set", "give --security, --key-file or --ask-key");
    Task task{[&change](Session &session) { return set(session, change); }};
    if (!change.ssid.empty() || !change.vlan.empty())
        task.warnings.push_back("devices known today ignore the SSID and the VLAN id of this operation");
    task.warnings.push_back("it changes the networks of the 5 GHz radio (wlan0) alone, and is lost at the next reboot "
                            "unless it is saved: vxpctl save");
    return administer(options, writer, log, task);
}

} // namespace

std::vector<Command> wirelessCommands()
{
    std::vector<std::string> names;
    for (const Security &security : securities)
        names.push_back(security.pName);
    return {
        {{"wireless get", {}},
         "Show the keys of the wireless networks",
         "Of the eight networks, devices report the keys and nothing else; a network without one, open or\n"
         "enterprise, reports none.",
         deviceDefaults(),
         runGet,
         CommandKind::device,
         {{"--show-keys", "", "Print the keys, not only how long they are"}}},
        {{"wireless set", {}},
         "Change the security or the key of a wireless network",
         "The keys of the other networks are read first and sent back, for the operation sets all eight.",
         deviceDefaults(),
         runSet,
         CommandKind::device,
         {{"--network", "N", "The network, 0 to 7; 0 is the radio's primary one", {}, true},
          {"--security", "SETTING", "open, wep, wpa-personal, wpa-enterprise, wpa2-personal or wpa2-enterprise", names},
          {"--key-file", "FILE", "Read the key from a file that only you can read"},
          {"--ask-key", "", "Ask for the key on the terminal, or take VXPCTL_WIRELESS_KEY"},
          {"--ssid", "NAME", "The network's name, at most 31 bytes; ignored by devices known today"},
          {"--vlan", "ID", "VLAN id, at most 3 digits; ignored by devices known today"}}},
    };
}

} // namespace vxpctl
