// SPDX-License-Identifier: BSD-2-Clause
//
// What rows of a tally compare by: one fixed-size key a row and column, so that a hundred thousand
// rows are sorted without looking at a text. Values; main thread.
#pragma once

#include "app/tallies/TallyColumn.h"
#include "core/stats/VisualizerObj.h"

#include <compare>
#include <cstdint>

namespace brindle {

enum class TallySortDirection : std::uint8_t { ascending, descending };

struct TallySort {
    TallyColumn column = TallyColumn::records;
    TallySortDirection direction = TallySortDirection::descending;
    friend bool operator==(const TallySort&, const TallySort&) = default;
};

struct TallySortKey {
    std::uint64_t high = 0;
    std::uint64_t low = 0;
    /// Of addresses: IPv4 before IPv6 before anything else.
    std::uint8_t kind = 0;

    /// There is no text: such rows stand last in either direction.
    static constexpr std::uint8_t kMissing = 255;

    friend std::strong_ordering operator<=>(const TallySortKey& a, const TallySortKey& b) {
        if (const auto order = a.kind <=> b.kind; order != 0)
            return order;
        if (const auto order = a.high <=> b.high; order != 0)
            return order;
        return a.low <=> b.low;
    }
    friend bool operator==(const TallySortKey&, const TallySortKey&) = default;
};

/// Addresses by their number, whatever name they are shown with; ports by number; services and
/// nations by their first sixteen letters; records and share by the count; the legend not at all.
TallySortKey tallySortKey(const VisualizerObj& row, TallyColumn column);

} // namespace brindle
