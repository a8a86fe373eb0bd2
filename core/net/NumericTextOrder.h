// SPDX-License-Identifier: BSD-2-Clause
//
// The order of texts in which runs of digits count by their value ("a9" before "a10"): what bounds
// of excluded blocks are tested with, and what breaks ties in sorted lists. Pure functions; any
// thread.
//
//     std::ranges::sort(labels, NumericTextLess{});
#pragma once

#include <compare>
#include <cstddef>
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

/// Bytes that the order key of a text of that many bytes takes at the most.
constexpr std::size_t numericOrderKeyBound(std::size_t size) {
    return 2 * size + 1;
}

/// Writes a key for `text` to `out`, which has room for numericOrderKeyBound bytes, and returns
/// where it ends. Keys compared byte by byte, as unsigned, a key before every longer one that
/// starts with it, order exactly as numericTextOrder orders their texts. For indexes that compare
/// one text with many.
char* writeNumericOrderKey(std::string_view text, char* out);

std::string numericOrderKey(std::string_view text);

} // namespace brindle
