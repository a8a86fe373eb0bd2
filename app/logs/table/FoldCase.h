// SPDX-License-Identifier: BSD-2-Clause
//
// Lower case for ASCII letters; every other byte, those of UTF-8 sequences included, stays as it
// is. Pure functions; any thread.
#pragma once

#include <string>
#include <string_view>

namespace brindle {

constexpr char foldCase(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}

inline std::string foldCase(std::string_view text) {
    std::string folded(text);
    for (char& c : folded)
        c = foldCase(c);
    return folded;
}

} // namespace brindle
