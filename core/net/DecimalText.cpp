// SPDX-License-Identifier: BSD-2-Clause
#include "core/net/DecimalText.h"

#include <charconv>
#include <limits>
#include <system_error>

namespace brindle {

std::optional<std::int64_t> decimalInteger(std::string_view text) {
    // from_chars reads a minus sign itself, but no plus sign.
    if (text.starts_with('+')) {
        text.remove_prefix(1);
        if (text.starts_with('-'))
            return std::nullopt;
    }
    std::int64_t value = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || stop != end)
        return std::nullopt;
    return value;
}

std::int64_t looseInteger(std::string_view text) {
    const auto start = text.find_first_not_of(" \t\n\v\f\r");
    if (start == text.npos)
        return 0;
    text.remove_prefix(start);
    const bool negative = text.starts_with('-');
    if (negative || text.starts_with('+'))
        text.remove_prefix(1);
    text = text.substr(0, text.find_first_not_of("0123456789"));
    if (text.empty())
        return 0;
    std::int64_t value = 0;
    if (std::from_chars(text.data(), text.data() + text.size(), value).ec != std::errc())
        value = std::numeric_limits<std::int64_t>::max();
    return negative ? -value : value;
}

} // namespace brindle
