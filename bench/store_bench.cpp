// SPDX-License-Identifier: Apache-2.0
//
// What a read of the store costs against a bare LMDB read of the same file: one line,
//
//     store-read bare_ns=N lsqlquery_ns=N ratio=N keys=N rounds=N
//
// ns are per read, medians over the rounds; the ratio is the median of the rounds' ratios. A round reads every key many
// times, first one way and then the other, so that both see the same machine. A bare read renews a read transaction,
// gets one value and resets the transaction; a read of the store makes a record too, and releases it.
#include "lsqlquery/lsqlquery.h"
#include "lsqlquery/lsqlstore.h"

#include <lmdb.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

namespace
{

constexpr int ROUNDS = 41;
constexpr int PASSES = 400; // over all keys, in one round and way

struct Name {
    std::string object, instance, field, key;
};

[[noreturn]] void fail(const std::string &what)
{
    std::fprintf(stderr, "store_bench: %s\n", what.c_str());
    std::exit(1);
}

void check(int rc, const char *what)
{
    if (rc)
        fail(std::string(what) + ": " + mdb_strerror(rc));
}

// What an access point with two radios keeps: about 60 fields.
std::vector<Name> accessPoint()
{
    std::vector<Name> names;
    const auto add = [&names](const char *object, const char *instance, std::initializer_list<const char *> fields) {
        for (const char *field : fields) {
            const std::string key = std::string(object) + '\0' + instance + '\0' + '\0' + '\0' + field + '\0';
            names.push_back({object, instance, field, key});
        }
    };
    add("management", "",
        {"static-ip", "static-mask", "dhcp-status", "ip", "mask", "mac", "interface", "ipv6-status",
         "ipv6-autoconfig-status", "static-ipv6", "static-ipv6-prefix-length", "ipv6-default-gateway",
         "autoconfig-ipv6-global-all"});
    add("static-ip-route", "", {"gateway", "mask"});
    add("ip-route", "", {"gateway"});
    add("host", "", {"dns-via-dhcp", "dns-1", "dns-2", "static-dns-1", "static-dns-2"});
    add("system", "", {"username", "encrypted-password", "model", "system-name", "version", "factory-reset", "reboot"});
    add("config", "", {"startup", "status"});
    add("snmp", "", {"status", "ro-community", "rw-community"});
    for (const char *radio : {"wlan0", "wlan1"}) {
        add("interface", radio,
            {"ssid", "security", "wpa-personal-key", "wep-default-key", "wep-key-1", "wep-key-2", "wep-key-3",
             "wep-key-4"});
        add("bss", radio, {"wpa-allowed", "wpa2-allowed"});
        add("radio", radio, {"mode", "status"});
        add("vap", radio, {"vlan-id", "radio"});
    }
    return names;
}

void fill(const std::vector<Name> &names)
{
    std::vector<lsqlstore_field> fields;
    for (const Name &name : names)
        fields.push_back({name.object.c_str(), name.instance.empty() ? nullptr : name.instance.c_str(), nullptr,
                          nullptr, name.field.c_str(), "192.168.100.200"});
    char *error = nullptr;
    if (lsqlstore_write(fields.data(), fields.size(), LSQLSTORE_REPLACE, nullptr, &error))
        fail(error ? error : "cannot fill the store");
}

struct Bare {
    MDB_env *env;
    MDB_txn *txn;
    MDB_dbi table;
};

Bare openBare(const std::string &folder)
{
    Bare bare{};
    check(mdb_env_create(&bare.env), "mdb_env_create");
    check(mdb_env_open(bare.env, folder.c_str(), MDB_NOTLS, 0600), "mdb_env_open");
    check(mdb_txn_begin(bare.env, nullptr, MDB_RDONLY, &bare.txn), "mdb_txn_begin");
    check(mdb_dbi_open(bare.txn, nullptr, 0, &bare.table), "mdb_dbi_open");
    mdb_txn_reset(bare.txn);
    return bare;
}

void readBare(const Bare &bare, const Name &name)
{
    MDB_val key{name.key.size(), const_cast<char *>(name.key.data())};
    MDB_val value;
    check(mdb_txn_renew(bare.txn), "mdb_txn_renew");
    check(mdb_get(bare.txn, bare.table, &key, &value), "mdb_get");
    mdb_txn_reset(bare.txn);
}

void readStore(const Name &name)
{
    lsqlquery_pv *const pv = lsqlquery_get_pv(
        name.object.c_str(), name.instance.empty() ? nullptr : name.instance.c_str(), name.field.c_str());
    if (!pv)
        fail("a value is missing");
    lsqlquery_destroy_pv(pv);
}

// Nanoseconds per read.
template <class Read>
double measure(const std::vector<Name> &names, const Read &read)
{
    const auto start = std::chrono::steady_clock::now();
    for (int pass = 0; pass < PASSES; pass++)
        for (const Name &name : names)
            read(name);
    const std::chrono::duration<double, std::nano> taken = std::chrono::steady_clock::now() - start;
    return taken.count() / (PASSES * static_cast<double>(names.size()));
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

std::string makeFolder()
{
    std::string name = (std::filesystem::temp_directory_path() / "store-bench-XXXXXX").string();
    if (!mkdtemp(name.data()))
        fail("cannot make a folder for the store in " + name);
    std::filesystem::create_directory(name + "/bare");
    return name;
}

} // namespace

int main()
{
    const std::string folder = makeFolder();
    setenv("LSQLQUERY_DB", folder.c_str(), 1);
    const std::vector<Name> names = accessPoint();
    fill(names);
    std::filesystem::copy_file(folder + "/data.mdb", folder + "/bare/data.mdb");
    const Bare bare = openBare(folder + "/bare");

    std::vector<double> bareNs, storeNs, ratios;
    for (int round = 0; round < ROUNDS; round++) {
        bareNs.push_back(measure(names, [&bare](const Name &name) { readBare(bare, name); }));
        storeNs.push_back(measure(names, readStore));
        ratios.push_back(storeNs.back() / bareNs.back());
    }
    std::printf("store-read bare_ns=%.1f lsqlquery_ns=%.1f ratio=%.2f keys=%zu rounds=%d\n", median(bareNs),
                median(storeNs), median(ratios), names.size(), ROUNDS);

    mdb_txn_abort(bare.txn);
    mdb_env_close(bare.env);
    lsqlstore_close();
    std::filesystem::remove_all(folder);
}
