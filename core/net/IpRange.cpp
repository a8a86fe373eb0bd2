// SPDX-License-Identifier: BSD-2-Clause
#include "core/net/IpRange.h"

#include "core/net/DecimalText.h"

#include <algorithm>
#include <arpa/inet.h>
#include <string>

namespace brindle {

Ipv4Range blockRange(std::uint32_t address, unsigned prefix) {
    // A shift by the full width is not defined, so both ends are cases of their own.
    const std::uint32_t hostBits = prefix >= 32  ? 0
                                   : prefix == 0 ? 0xFFFFFFFFu
                                                 : 0xFFFFFFFFu >> prefix;
    return {address & ~hostBits, address | hostBits};
}

Ipv6Range blockRange(const Ipv6Groups& address, unsigned prefix) {
    Ipv6Range range{address, address};
    for (unsigned group = 0; group < address.size(); ++group) {
        const unsigned networkBits = std::clamp(prefix, group * 16, group * 16 + 16) - group * 16;
        const auto hostBits = static_cast<std::uint16_t>(0xFFFFu >> networkBits);
        range.first[group] = static_cast<std::uint16_t>(address[group] & ~hostBits);
        range.last[group] = static_cast<std::uint16_t>(address[group] | hostBits);
    }
    return range;
}

std::optional<std::uint32_t> ipv4Number(const IpAddress& address) {
    if (address.family() != IpAddress::Family::v4)
        return std::nullopt;
    std::uint32_t number = 0;
    for (const std::uint8_t byte : address.bytes())
        number = number << 8 | byte;
    return number;
}

std::optional<Ipv6Groups> ipv6Groups(const IpAddress& address) {
    if (address.family() != IpAddress::Family::v6)
        return std::nullopt;
    Ipv6Groups groups{};
    const auto bytes = address.bytes();
    for (std::size_t i = 0; i < groups.size(); ++i)
        groups[i] = static_cast<std::uint16_t>(bytes[2 * i] << 8 | bytes[2 * i + 1]);
    return groups;
}

IpAddress addressFromNumber(std::uint32_t number) {
    std::array<std::uint8_t, 4> bytes{};
    for (std::size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<std::uint8_t>(number >> (24 - 8 * i));
    return IpAddress::fromBytes(bytes);
}

IpAddress addressFromGroups(const Ipv6Groups& groups) {
    std::array<std::uint8_t, 16> bytes{};
    for (std::size_t i = 0; i < groups.size(); ++i) {
        bytes[2 * i] = static_cast<std::uint8_t>(groups[i] >> 8);
        bytes[2 * i + 1] = static_cast<std::uint8_t>(groups[i]);
    }
    return IpAddress::fromBytes(bytes);
}

std::optional<std::uint32_t> ipv4NumberLoose(std::string_view text) {
    if (const auto number = canonicalQuad(text)) // what nearly every caller passes
        return number;
    if (text.find('\0') != text.npos)
        return std::nullopt;
    in_addr address{};
    char terminated[64];
    const char* source = terminated;
    std::string longText;
    if (text.size() < sizeof terminated) {
        *std::copy(text.begin(), text.end(), terminated) = '\0';
    } else {
        longText = text;
        source = longText.c_str();
    }
    if (inet_aton(source, &address) == 0)
        return std::nullopt;
    return ntohl(address.s_addr);
}

std::optional<std::uint32_t> canonicalQuad(std::string_view text) {
    const char* next = text.data();
    const char* const end = next + text.size();
    std::uint32_t number = 0;
    for (int part = 0; part < 4; ++part) {
        if (part > 0 && (next == end || *next++ != '.'))
            return std::nullopt;
        const char* const start = next;
        unsigned value = 0;
        while (next != end && *next >= '0' && *next <= '9' && next - start < 3)
            value = value * 10 + static_cast<unsigned>(*next++ - '0');
        if (next == start || value > 255 || (next - start > 1 && *start == '0'))
            return std::nullopt;
        number = number << 8 | value;
    }
    return next == end ? std::optional(number) : std::nullopt;
}

std::optional<Ipv4Range> matchRange(std::string_view block) {
    const auto slash = block.find('/');
    if (slash == block.npos)
        return std::nullopt;
    const auto network = ipv4NumberLoose(block.substr(0, slash));
    const std::int64_t prefix = looseInteger(block.substr(slash + 1));
    if (!network || prefix < 0 || prefix > 32)
        return std::nullopt;
    return blockRange(*network, static_cast<unsigned>(prefix));
}

std::optional<Ipv6Block> ipv6Block(std::string_view text) {
    const auto slash = text.find('/');
    if (slash == text.npos)
        return std::nullopt;
    const auto address = IpAddress::parse(text.substr(0, slash));
    const std::string_view digits = text.substr(slash + 1);
    if (!address || digits.find_first_not_of("0123456789") != digits.npos)
        return std::nullopt;
    const auto groups = ipv6Groups(*address);
    const auto prefix = decimalInteger(digits);
    if (!groups || !prefix || *prefix > 128)
        return std::nullopt;
    return Ipv6Block{*groups, static_cast<unsigned>(*prefix)};
}

} // namespace brindle
