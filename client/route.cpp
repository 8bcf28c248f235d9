// SPDX-License-Identifier: Apache-2.0
#include "client/route.h"

#include "client/file_descriptor.h"
#include "client/netlink.h"

#include <array>
#include <cstring>
#include <sys/socket.h>

namespace vxpctl
{

std::optional<Route> routeTo(const IPv4_Address &address)
{
    struct {
        nlmsghdr header;
        rtmsg route;
        rtattr destination;
        std::uint8_t ucAddress[4];
    } request{};
    static_assert(sizeof request == NLMSG_LENGTH(sizeof(rtmsg)) + RTA_LENGTH(4));
    request.header.nlmsg_len = sizeof request;
    request.header.nlmsg_type = RTM_GETROUTE;
    request.header.nlmsg_flags = NLM_F_REQUEST;
    request.route.rtm_family = AF_INET;
    request.route.rtm_dst_len = 32;
    request.destination = {RTA_LENGTH(4), RTA_DST};
    putBytes(request.ucAddress, address);

    const FileDescriptor fd(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE));
    alignas(nlmsghdr) std::array<char, 4096> buffer{};
    if (fd.get() < 0 || send(fd.get(), &request, sizeof request, 0) < 0)
        return std::nullopt;
    const ssize_t size = recv(fd.get(), buffer.data(), buffer.size(), 0);
    const auto *pReply = reinterpret_cast<const nlmsghdr *>(buffer.data());
    if (size < 0 || !NLMSG_OK(pReply, static_cast<unsigned>(size)) || pReply->nlmsg_type != RTM_NEWROUTE)
        return std::nullopt;
    const auto *pRoute = static_cast<const rtmsg *>(NLMSG_DATA(pReply));
    const rtattr *pInterface = findAttribute(RTM_RTA(pRoute), RTM_PAYLOAD(pReply), RTA_OIF);
    if (!pInterface || (pRoute->rtm_type != RTN_UNICAST && pRoute->rtm_type != RTN_LOCAL))
        return std::nullopt;
    Route route{0, pRoute->rtm_type == RTN_LOCAL};
    std::memcpy(&route.index, RTA_DATA(pInterface), sizeof route.index);
    return route;
}

} // namespace vxpctl
