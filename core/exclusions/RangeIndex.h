// SPDX-License-Identifier: BSD-2-Clause
//
// Whether a text lies strictly between the two texts of any of many ranges, by numericTextOrder:
// the answer of a scan over all of them, found by a binary search. Made once, immutable, read from
// any thread.
//
//     RangeIndex index(ranges);
//     index.covers("10.0.0.9");
#pragma once

#include "core/exclusions/ExclusionLists.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace brindle {

/// Ranges of dotted quads, which order as their numbers do. Overlapping ranges are one.
class QuadIntervals {
  public:
    void add(std::uint32_t low, std::uint32_t high);
    /// To be called once after the last `add`.
    void finish();
    bool covers(std::uint32_t address) const;

  private:
    std::vector<std::uint32_t> firsts_; ///< ascending; both ends belong to an interval
    std::vector<std::uint32_t> lasts_;
};

/// Ranges of any texts, held as order keys. Overlapping ranges are one.
class TextIntervals {
  public:
    void add(std::string_view low, std::string_view high);
    /// To be called once after the last `add`.
    void finish();
    bool covers(std::string_view text) const;

  private:
    struct Pending {
        std::string low;
        std::string high;
    };
    /// Where an interval's two keys lie in `keys_`.
    struct Place {
        std::uint32_t begin = 0;
        std::uint32_t middle = 0;
        std::uint32_t end = 0;
    };
    std::string_view low(std::size_t index) const;
    std::string_view high(std::size_t index) const;

    std::vector<Pending> pending_;
    std::string keys_;
    /// The bytes after the shared start of each low key, as a number: settles most comparisons
    /// without a look at the keys.
    std::vector<std::uint64_t> lowStarts_;
    std::vector<Place> places_;
    std::size_t shared_ = 0; ///< bytes with which every low key starts
};

class RangeIndex {
  public:
    explicit RangeIndex(std::span<const ExcludedRange> ranges);

    bool covers(std::string_view text) const;

  private:
    bool empty_;           ///< most lists have no ranges
    QuadIntervals quads_;  ///< ranges between two canonical dotted quads
    TextIntervals others_; ///< all other ranges
    TextIntervals all_;    ///< every range, for texts that are no canonical dotted quad
};

} // namespace brindle
