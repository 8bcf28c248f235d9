// SPDX-License-Identifier: Apache-2.0
//
// show, status, functions: what a device tells about itself.
#include "client/commands.h"

#include "client/session.h"

#include <cstdio>

namespace vxpctl
{
namespace
{

Record show(Session &session)
{
    return session.device().identity;
}

Record status(Session &session)
{
    Record record = session.result();
    const auto body = session.ask(VXP_OP_QUERY_NET_STATUS);
    record["bridge"] = body.size() >= sizeof(NetStatusReply);
    if (record["bridge"] == true)
        record.update(decodeBody<NetStatusReply>(body.data()));
    return record;
}

Record functions(Session &session)
{
    Record record = session.result();
    record["functions"] = Record::array();
    const auto body = session.ask(VXP_OP_QUERY_SUPPORTED);
    for (std::size_t i = 0; i + sizeof(Le16) <= body.size(); i += sizeof(Le16)) {
        Le16 uCode;
        std::memcpy(&uCode, &body[i], sizeof uCode);
        if (!uCode.get())
            break; // the end of the list
        char code[8];
        std::snprintf(code, sizeof code, "0x%04x", uCode.get());
        const Operation *pKnown = findOperation(uCode.get());
        record["functions"].push_back({{"code", code}, {"name", pKnown ? Record(pKnown->name) : Record(nullptr)}});
    }
    return record;
}

ExitCode runShow(const Options &options, Writer &writer, const Log &log)
{
    return administer(options, writer, log, {show, false});
}

ExitCode runStatus(const Options &options, Writer &writer, const Log &log)
{
    return administer(options, writer, log, {status});
}

ExitCode runFunctions(const Options &options, Writer &writer, const Log &log)
{
    return administer(options, writer, log, {functions});
}

} // namespace

std::vector<Command> identityCommands()
{
    const auto device = CommandKind::device;
    return {
        {{"show", {}},
         "Show everything that a device tells about itself",
         "Identity, firmware, addresses and clock, as discovery reports them. Needs no password.",
         deviceDefaults(),
         runShow,
         device},
        {{"status", {{"NAME", "name"}, {"MAC", "mac"}, {"ADDRESS", "ip"}, {"LINK-LOCAL", "link_local"}}},
         "Show whether a device has an address or only a link-local fallback",
         "link_local is on when the device found no DHCP server and took an address from 169.254.0.0/16.",
         deviceDefaults(),
         runStatus,
         device},
        {{"functions", {}},
         "List the operations that a device serves",
         "The basic ones, discovery to account change, are never in the device's list.",
         deviceDefaults(),
         runFunctions,
         device},
    };
}

} // namespace vxpctl
