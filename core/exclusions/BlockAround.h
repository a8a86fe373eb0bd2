// SPDX-License-Identifier: BSD-2-Clause
//
// The block that a menu offers to hide around one address: /24 for IPv4, /64 for IPv6. Pure
// functions; any thread.
//
//     blockAround("192.0.2.77", 4).exclusion()      // hides 192.0.2.0/24
#pragma once

#include "core/exclusions/VDXExclusion.h"

#include <string>
#include <string_view>

namespace brindle {

struct AddressBlock {
    std::string first;
    std::string last;
    std::string text; ///< "192.0.2.0/24"
    int family = 4;

    VDXExclusion exclusion() const { return VDXExclusion("cidr", text, first, last, family); }
};

/// `family`: 4 or 6. An address of the other family has no block of this one: it stands for itself.
AddressBlock blockAround(const std::string& address, int family);

/// The text is an IPv6 address as inet_pton reads it.
bool isIpv6Text(std::string_view text);

} // namespace brindle
