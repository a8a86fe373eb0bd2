// SPDX-License-Identifier: BSD-2-Clause
#include "core/net/KVTools.h"

namespace brindle {

Ipv6Groups KVTools::ipv6intconverter(std::string_view text) {
    if (const auto address = IpAddress::parse(text))
        if (const auto groups = ipv6Groups(*address))
            groups_ = *groups;
    return groups_;
}

} // namespace brindle
