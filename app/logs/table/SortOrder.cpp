// SPDX-License-Identifier: BSD-2-Clause
#include "app/logs/table/SortOrder.h"

#include "app/logs/table/FoldCase.h"
#include "core/net/DecimalText.h"
#include "core/net/IpAddress.h"
#include "core/net/IpRange.h"
#include "core/net/NumericTextOrder.h"

#include <bit>

namespace brindle {

SortKey sortKeyOfTime(double epoch) {
    // Doubles compare as their bits do once negative ones are turned round; -0 becomes 0.
    constexpr std::uint64_t kSign = std::uint64_t{1} << 63;
    const auto bits = std::bit_cast<std::uint64_t>(epoch + 0.0);
    return sortKeyOfNumber(bits & kSign ? ~bits : bits | kSign);
}

SortKey sortKeyOfNumber(std::uint64_t number) {
    SortKey key;
    key.low = number;
    return key;
}

SortKey sortKeyOfVerdict(Action action, Direction direction) {
    return sortKeyOfNumber((action == Action::block ? 0 : 2) +
                           (direction == Direction::out ? 1 : 0));
}

SortKey sortKeyOfText(std::string_view text) {
    SortKey key;
    key.kind = SortKey::Kind::text;
    key.text = numericOrderKey(foldCase(text));
    key.text += '\0';
    key.text += text;
    return key;
}

SortKey sortKeyOfAddress(std::string_view text) {
    if (const auto quad = canonicalQuad(text))
        return sortKeyOfNumber(*quad);
    const auto address = IpAddress::parse(text);
    const auto groups = address ? ipv6Groups(*address) : std::nullopt;
    if (!groups)
        return sortKeyOfText(text);
    SortKey key;
    key.kind = SortKey::Kind::ipv6;
    for (std::size_t i = 0; i < groups->size(); ++i)
        (i < 4 ? key.high : key.low) = (i < 4 ? key.high : key.low) << 16 | (*groups)[i];
    return key;
}

SortKey sortKeyOfPort(std::string_view text) {
    const auto number = decimalInteger(text);
    return number && *number >= 0 ? sortKeyOfNumber(static_cast<std::uint64_t>(*number))
                                  : sortKeyOfText(text);
}

SortKey sortKey(const VDXLog& log, LogColumn column) {
    const LogColumnInfo& info = describe(column);
    switch (info.sort) {
    case SortKind::verdict:
        return sortKeyOfVerdict(actionFromText(log.text(LogField::action)),
                                directionFromText(log.text(LogField::direction)));
    case SortKind::time:
        return sortKeyOfTime(log.epoch());
    case SortKind::address:
        return sortKeyOfAddress(log.text(info.field));
    case SortKind::port:
        return sortKeyOfPort(log.text(info.field));
    case SortKind::text:
        break;
    }
    return sortKeyOfText(columnText(log, column));
}

} // namespace brindle
