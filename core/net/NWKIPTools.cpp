// SPDX-License-Identifier: BSD-2-Clause
#include "core/net/NWKIPTools.h"

#include "core/net/DecimalText.h"
#include "core/net/VDValidateIP.h"

#include <array>
#include <bitset>
#include <charconv>
#include <utility>
#include <vector>

namespace brindle {
namespace {

std::vector<std::string_view> split(std::string_view text, char separator) {
    std::vector<std::string_view> pieces;
    for (;;) {
        const auto end = text.find(separator);
        pieces.push_back(text.substr(0, end));
        if (end == text.npos)
            return pieces;
        text.remove_prefix(end + 1);
    }
}

/// The address and the prefix of a block text. Nothing without a decimal prefix that leaves at
/// least one of `width` bits to hosts.
std::optional<std::pair<std::string_view, std::size_t>> splitBlock(std::string_view block,
                                                                   std::int64_t width) {
    const auto pieces = split(block, '/');
    if (pieces.size() < 2)
        return std::nullopt;
    const auto prefix = decimalInteger(pieces[1]);
    if (!prefix || *prefix < 0 || *prefix >= width)
        return std::nullopt;
    return std::pair(pieces[0], static_cast<std::size_t>(*prefix));
}

/// First and last of the addresses that share the first `prefix` digits of `address`.
std::pair<std::string, std::string> firstAndLast(const std::string& address, std::size_t prefix) {
    const std::string network = address.substr(0, prefix);
    const std::size_t hostBits = address.size() - prefix;
    return {network + std::string(hostBits, '0'), network + std::string(hostBits, '1')};
}

template <typename Number>
Number numberFromBits(std::string_view bits) {
    Number number = 0;
    std::from_chars(bits.data(), bits.data() + bits.size(), number, 2);
    return number;
}

Ipv6Groups groupsFromBits(std::string_view bits) {
    Ipv6Groups groups{};
    for (std::size_t i = 0; i < groups.size(); ++i)
        groups[i] = numberFromBits<std::uint16_t>(bits.substr(i * 16, 16));
    return groups;
}

} // namespace

bool NWKIPTools::isValidIPV6cidr(std::string_view text) const {
    if (text == "::/0")
        return true;
    const auto pieces = split(text, '/');
    if (pieces.size() < 2 || !VDValidateIP().isValidIpAddress(pieces[0]) ||
        pieces[0].find(':') == text.npos)
        return false;
    const auto prefix = decimalInteger(pieces[1]);
    return prefix && *prefix >= 1 && *prefix <= 127;
}

std::optional<std::uint32_t> NWKIPTools::ipv4intconverter(std::string_view dotted) const {
    const auto parts = split(dotted, '.');
    if (parts.size() < 4)
        return std::nullopt;
    std::uint32_t number = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        const auto value = decimalInteger(parts[i]);
        if (!value || *value < 0 || *value > 255)
            return std::nullopt;
        number = number << 8 | static_cast<std::uint32_t>(*value);
    }
    return number;
}

std::optional<Ipv4Range> NWKIPTools::rangeFromIPV4cidr(std::string_view block) const {
    const auto pieces = splitBlock(block, 32);
    if (!pieces)
        return std::nullopt;
    auto parts = split(pieces->first, '.');
    parts.resize(4, "0");
    std::string address;
    for (const std::string_view part : parts) {
        const auto bits = bitStringFromDecimal(part);
        if (!bits || bits->size() > 8)
            return std::nullopt;
        address += std::string(8 - bits->size(), '0') + *bits;
    }
    const auto [first, last] = firstAndLast(address, pieces->second);
    return Ipv4Range{numberFromBits<std::uint32_t>(first), numberFromBits<std::uint32_t>(last)};
}

std::optional<Ipv6Range> NWKIPTools::rangeFromIPV6cidr(std::string_view block) const {
    const auto pieces = splitBlock(block, 128);
    if (!pieces)
        return std::nullopt;
    const auto parsed = IpAddress::parse(pieces->first);
    const auto groups = parsed ? ipv6Groups(*parsed) : std::nullopt;
    if (!groups)
        return std::nullopt;
    std::string address;
    for (const std::uint16_t group : *groups)
        address += std::bitset<16>(group).to_string();
    const auto [first, last] = firstAndLast(address, pieces->second);
    return Ipv6Range{groupsFromBits(first), groupsFromBits(last)};
}

std::string ipv6StringFromGroups(const Ipv6Groups& groups) {
    return addressFromGroups(groups).text();
}

std::string ipv4StringFromNumber(std::uint32_t number) {
    return addressFromNumber(number).text();
}

std::optional<std::string> bitStringFromDecimal(std::string_view decimal) {
    const std::int64_t value = decimalInteger(decimal).value_or(0);
    if (value < 0)
        return std::nullopt;
    std::array<char, 64> digits{};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value, 2).ptr;
    return std::string(digits.data(), end);
}

} // namespace brindle
