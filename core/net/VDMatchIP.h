// SPDX-License-Identifier: BSD-2-Clause
//
// Whether a text is a block, and whether an address lies in one. Keeps nothing between calls; any
// thread. To match one address against many blocks use core/net/IpRange.h, which gives the same
// answers from numbers.
#pragma once

#include <string_view>

namespace brindle {

class VDMatchIP {
  public:
    /// a.b.c.d/n, a.b.c/n, a.b/n, a/n or the same without /n; decimal, leading zeros allowed, n
    /// from 0 to 32, host bits allowed.
    bool validateIPV4cidr(std::string_view block) const;

    /// An IPv6 address, "/" and a prefix of 0 to 128.
    bool validateIPV6cidr(std::string_view block) const;

    /// Whether the IPv4 address lies in the block. Both are read as inet_aton reads them. False
    /// when either does not parse, the block has no "/" or its prefix is not within 0 to 32.
    bool matchIP(std::string_view address, std::string_view block) const;

    /// Whether the IPv6 address lies in the block; false when either does not parse.
    bool matchIPV6(std::string_view address, std::string_view block) const;
};

} // namespace brindle
