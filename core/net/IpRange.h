// SPDX-License-Identifier: BSD-2-Clause
//
// Addresses and blocks as plain numbers: an IPv4 address is a 32-bit number whose most significant
// byte is the first dotted part, an IPv6 address its eight groups in written order. Nothing here
// allocates, so indexes over many blocks are built from it. Pure functions; any thread.
//
//     auto range = matchRange("172.16.0.0/12");            // what VDMatchIP::matchIP tests
//     if (range && range->contains(0xAC1FFFFF)) ...
#pragma once

#include "core/net/IpAddress.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

namespace brindle {

/// The eight groups of an IPv6 address, each in host byte order, in the order they are written.
using Ipv6Groups = std::array<std::uint16_t, 8>;

/// Both bounds belong to the range.
struct Ipv4Range {
    std::uint32_t first = 0;
    std::uint32_t last = 0;

    constexpr bool contains(std::uint32_t address) const {
        return first <= address && address <= last;
    }
    friend bool operator==(const Ipv4Range&, const Ipv4Range&) = default;
};

/// Both bounds belong to the range.
struct Ipv6Range {
    Ipv6Groups first{};
    Ipv6Groups last{};

    constexpr bool contains(const Ipv6Groups& address) const {
        return first <= address && address <= last;
    }
    friend bool operator==(const Ipv6Range&, const Ipv6Range&) = default;
};

/// The addresses that share the first `prefix` bits with `address`; prefixes beyond the family's
/// width count as the width.
Ipv4Range blockRange(std::uint32_t address, unsigned prefix);
Ipv6Range blockRange(const Ipv6Groups& address, unsigned prefix);

/// The number of an IPv4 address, the groups of an IPv6 one; nothing for the other family.
std::optional<std::uint32_t> ipv4Number(const IpAddress& address);
std::optional<Ipv6Groups> ipv6Groups(const IpAddress& address);
IpAddress addressFromNumber(std::uint32_t number);
IpAddress addressFromGroups(const Ipv6Groups& groups);

/// IPv4 text in every form that inet_aton takes: shortened, hexadecimal and octal ones included.
std::optional<std::uint32_t> ipv4NumberLoose(std::string_view text);

/// The number of a dotted quad in its one canonical form, decimal and without leading zeros;
/// nothing for any other text.
std::optional<std::uint32_t> canonicalQuad(std::string_view text);

/// The addresses that VDMatchIP::matchIP finds in an IPv4 block text. Nothing when the text has no
/// "/", its network does not parse, or its prefix is not 0 to 32.
std::optional<Ipv4Range> matchRange(std::string_view block);

/// An IPv6 block as inet_net_pton reads it: an address, "/", and a prefix of 0 to 128 in digits.
struct Ipv6Block {
    Ipv6Groups address{}; ///< host bits as they were written
    unsigned prefix = 0;
};
std::optional<Ipv6Block> ipv6Block(std::string_view text);

} // namespace brindle
