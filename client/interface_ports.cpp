// SPDX-License-Identifier: Apache-2.0
//
// Which interfaces belong to a bridge or a bond, asked of the kernel by rtnetlink(7): neither flags nor, in a network
// namespace, /sys tell it.
#include "client/interfaces.h"

#include "client/file_descriptor.h"
#include "client/netlink.h"

#include <algorithm>
#include <array>
#include <set>
#include <string_view>
#include <sys/socket.h>

namespace vxpctl
{
namespace
{

bool isPort(const nlmsghdr &message)
{
    const auto *pInfo = static_cast<const ifinfomsg *>(NLMSG_DATA(&message));
    const rtattr *pLink = findAttribute(IFLA_RTA(pInfo), IFLA_PAYLOAD(&message), IFLA_LINKINFO);
    if (!pLink)
        return false;
    const rtattr *pKind =
        findAttribute(static_cast<const rtattr *>(RTA_DATA(pLink)), RTA_PAYLOAD(pLink), IFLA_INFO_SLAVE_KIND);
    if (!pKind)
        return false;
    std::string_view kind(static_cast<const char *>(RTA_DATA(pKind)), RTA_PAYLOAD(pKind));
    kind = kind.substr(0, kind.find('\0'));
    return kind == "bridge" || kind == "bond" || kind == "team";
}

} // namespace

std::set<unsigned> portIndexes()
{
    std::set<unsigned> ports;
    const FileDescriptor fd(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE));
    struct {
        nlmsghdr header;
        ifinfomsg info;
    } request{};
    request.header.nlmsg_len = sizeof request;
    request.header.nlmsg_type = RTM_GETLINK;
    request.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    if (fd.get() < 0 || send(fd.get(), &request, sizeof request, 0) < 0)
        return ports;
    alignas(nlmsghdr) std::array<char, 32768> buffer; // netlink(7)'s advice for dumps
    for (;;) {
        const ssize_t size = recv(fd.get(), buffer.data(), buffer.size(), 0);
        if (size <= 0)
            return ports;
        auto left = static_cast<unsigned>(size);
        for (auto *pMessage = reinterpret_cast<nlmsghdr *>(buffer.data()); NLMSG_OK(pMessage, left);
             pMessage = NLMSG_NEXT(pMessage, left)) {
            if (pMessage->nlmsg_type != RTM_NEWLINK)
                return ports; // the end, or an error
            if (isPort(*pMessage))
                ports.insert(static_cast<unsigned>(static_cast<ifinfomsg *>(NLMSG_DATA(pMessage))->ifi_index));
        }
    }
}

} // namespace vxpctl
