// SPDX-License-Identifier: BSD-2-Clause
#include "app/tallies/TallySortKey.h"

#include "core/net/DecimalText.h"
#include "core/net/IpAddress.h"
#include "core/net/IpRange.h"

#include <algorithm>
#include <string_view>

namespace brindle {
namespace {

constexpr std::uint8_t kIpv6Kind = 1;
constexpr std::uint8_t kTextKind = 2;

std::uint64_t packed(std::string_view text) {
    std::uint64_t letters = 0;
    for (std::size_t i = 0; i < 8; ++i) {
        char c = i < text.size() ? text[i] : '\0';
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c + ('a' - 'A'));
        letters = letters << 8 | static_cast<unsigned char>(c);
    }
    return letters;
}

TallySortKey textKey(std::string_view text) {
    TallySortKey key;
    key.kind = text.empty() ? TallySortKey::kMissing : kTextKind;
    key.high = packed(text);
    key.low = packed(text.substr(std::min<std::size_t>(text.size(), 8)));
    return key;
}

/// Signed numbers in the order of unsigned ones.
TallySortKey numberKey(std::int64_t number) {
    TallySortKey key;
    key.low = static_cast<std::uint64_t>(number) ^ std::uint64_t{1} << 63;
    return key;
}

TallySortKey addressKey(std::string_view text) {
    TallySortKey key;
    if (const auto quad = canonicalQuad(text)) {
        key.low = *quad;
        return key;
    }
    const auto address = IpAddress::parse(text);
    const auto groups = address ? ipv6Groups(*address) : std::nullopt;
    if (!groups)
        return textKey(text);
    key.kind = kIpv6Kind;
    for (std::size_t i = 0; i < groups->size(); ++i)
        (i < 4 ? key.high : key.low) = (i < 4 ? key.high : key.low) << 16 | (*groups)[i];
    return key;
}

} // namespace

TallySortKey tallySortKey(const VisualizerObj& row, TallyColumn column) {
    switch (column) {
    case TallyColumn::nation:
        return textKey(row.nationcodeip());
    case TallyColumn::address:
        return addressKey(row.originallabel());
    case TallyColumn::port:
        if (const auto number = decimalInteger(row.originallabel()))
            return numberKey(*number);
        return textKey(row.originallabel());
    case TallyColumn::service:
        return textKey(row.portname());
    case TallyColumn::records:
    case TallyColumn::share:
        return numberKey(row.value());
    case TallyColumn::legend:
    case TallyColumn::count:
        break;
    }
    return {};
}

} // namespace brindle
