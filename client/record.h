// SPDX-License-Identifier: Apache-2.0
//
// One device as users see it, the same for every command and every output format: an ordered list of named values.
// Texts are valid UTF-8; a value that the device did not give or that means nothing is null.
#ifndef VXP_CLIENT_RECORD_H
#define VXP_CLIENT_RECORD_H

#include <nlohmann/json.hpp>

namespace vxpctl
{

using Record = nlohmann::ordered_json;

} // namespace vxpctl

#endif
