// SPDX-License-Identifier: Apache-2.0
//
// What rtnetlink(7) messages are made of.
#ifndef VXP_CLIENT_NETLINK_H
#define VXP_CLIENT_NETLINK_H

#include <cstddef>
#include <linux/rtnetlink.h>

namespace vxpctl
{

// The attribute of a kind in a chain of them; null when it is not there.
inline const rtattr *findAttribute(const rtattr *pAttribute, std::size_t size, unsigned type)
{
    auto left = static_cast<unsigned>(size);
    for (; RTA_OK(pAttribute, left); pAttribute = RTA_NEXT(pAttribute, left))
        if ((pAttribute->rta_type & NLA_TYPE_MASK) == type)
            return pAttribute;
    return nullptr;
}

} // namespace vxpctl

#endif
