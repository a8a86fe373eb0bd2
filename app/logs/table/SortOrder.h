// SPDX-License-Identifier: BSD-2-Clause
//
// By which column and in which direction rows are sorted, and what a row is sorted by. Values; any
// thread, but for reading a row, which is for the main thread.
#pragma once

#include "app/logs/table/LogColumn.h"
#include "core/log/VDXLog.h"

#include <compare>
#include <cstdint>
#include <string>
#include <string_view>

namespace brindle {

enum class SortDirection : std::uint8_t { ascending, descending };

struct SortOrder {
    LogColumn column = LogColumn::date;
    SortDirection direction = SortDirection::ascending;
    friend bool operator==(const SortOrder&, const SortOrder&) = default;
};

/// The value of a cell as it compares: numbers and IPv4 addresses before IPv6 addresses before
/// texts.
struct SortKey {
    enum class Kind : std::uint8_t { number, ipv6, text };

    Kind kind = Kind::number;
    std::uint64_t high = 0; ///< first half of an IPv6 address
    std::uint64_t low = 0;  ///< its second half, or the number
    std::string text;       ///< bytes that compare as the texts do

    friend std::strong_ordering operator<=>(const SortKey&, const SortKey&) = default;
    friend bool operator==(const SortKey&, const SortKey&) = default;
};

SortKey sortKeyOfTime(double epoch);
SortKey sortKeyOfNumber(std::uint64_t number);
SortKey sortKeyOfVerdict(Action action, Direction direction);
/// Runs of digits compare by value, ASCII letters without regard to case; texts that differ in
/// neither by their bytes.
SortKey sortKeyOfText(std::string_view text);
/// Numeric for an address, else the text.
SortKey sortKeyOfAddress(std::string_view text);
/// Numeric for a port, else the text.
SortKey sortKeyOfPort(std::string_view text);

/// Main thread.
SortKey sortKey(const VDXLog& log, LogColumn column);

} // namespace brindle
