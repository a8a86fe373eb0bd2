// SPDX-License-Identifier: BSD-2-Clause
//
// First and last address of blocks written as text, the test for IPv6 blocks, and addresses as
// numbers and back. Works on digit strings and is meant for what a user does once in a while; for
// many blocks see core/net/IpRange.h. Keeps nothing between calls; any thread.
//
//     auto range = NWKIPTools().rangeFromIPV4cidr("10.1.2.3/24");   // 10.1.2.0 to 10.1.2.255
#pragma once

#include "core/net/IpRange.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace brindle {

class NWKIPTools {
  public:
    /// "::/0", or an IPv6 address, "/" and a prefix of 1 to 127 in decimal.
    bool isValidIPV6cidr(std::string_view text) const;

    /// The number of a dotted quad. Nothing when one of its first four parts is missing, not a
    /// decimal number, or not within 0 to 255.
    std::optional<std::uint32_t> ipv4intconverter(std::string_view dotted) const;

    /// First and last address of an IPv4 block; missing dotted parts are 0 ("10/8"), and so are
    /// parts that are no decimal number. Nothing when the prefix is not a decimal number that
    /// leaves at least one host bit (0 to 31), or a part is not within 0 to 255.
    std::optional<Ipv4Range> rangeFromIPV4cidr(std::string_view block) const;

    /// First and last address of an IPv6 block. Nothing when the address does not parse or the
    /// prefix is not a decimal number that leaves at least one host bit (0 to 127).
    std::optional<Ipv6Range> rangeFromIPV6cidr(std::string_view block) const;
};

/// The compressed lower-case text of inet_ntop: "2001:db8:1:2::".
std::string ipv6StringFromGroups(const Ipv6Groups& groups);

/// The dotted quad of an IPv4 number: "1.2.3.0".
std::string ipv4StringFromNumber(std::uint32_t number);

/// The value of a decimal text in base 2 without leading zeros; "0" for text without a value.
/// Nothing for negative numbers, which have no such digits.
std::optional<std::string> bitStringFromDecimal(std::string_view decimal);

} // namespace brindle
