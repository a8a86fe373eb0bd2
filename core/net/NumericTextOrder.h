// SPDX-License-Identifier: BSD-2-Clause
//
// The order of texts in which runs of digits count by their value ("a9" before "a10"): what bounds
// of excluded blocks are tested with, and what breaks ties in sorted lists. Pure functions; any
// thread.
//
//     std::ranges::sort(labels, NumericTextLess{});
#pragma once

#include <compare>
#include <string>
#include <string_view>

namespace brindle {

/// From the left: runs of decimal digits at the same place by their value, however long; any other
/// bytes by their codes; a text before every longer one that starts with it. Texts that differ only
/// in leading zeros of numbers are equivalent. Dotted quads order as their numbers do.
std::weak_ordering numericTextOrder(std::string_view a, std::string_view b);

struct NumericTextLess {
    using is_transparent = void;
    bool operator()(std::string_view a, std::string_view b) const {
        return numericTextOrder(a, b) < 0;
    }
};

/// Appends a key for `text` to `key`: keys compared byte by byte, as unsigned, order exactly as
/// numericTextOrder orders their texts. For indexes that compare one text with many.
void appendNumericOrderKey(std::string& key, std::string_view text);

} // namespace brindle
