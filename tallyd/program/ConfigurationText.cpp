// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/program/ConfigurationText.h"

#include <algorithm>

namespace brindle::tallyd {

namespace {

constexpr int kMostBrackets = 16; ///< within each other
constexpr int kMostDots = 16;     ///< on a line

/// Where the quoted text or comment that begins at `begin` ends, the quotes included; `begin` where
/// none does. What has no end is the library's to tell of.
std::size_t endOfText(std::string_view text, std::size_t begin) {
    if (text[begin] == '#')
        return std::min(text.find('\n', begin), text.size());
    const char quote = text[begin];
    if (quote != '"' && quote != '\'')
        return begin;
    const std::string_view three = quote == '"' ? R"(""")" : "'''";
    const bool isLong = text.substr(begin).starts_with(three);
    for (std::size_t i = begin + (isLong ? 3 : 1); i < text.size(); ++i) {
        if (text[i] == '\\' && quote == '"')
            ++i;
        else if (isLong && text.substr(i).starts_with(three))
            return i + 3;
        else if (!isLong && (text[i] == quote || text[i] == '\n'))
            return text[i] == quote ? i + 1 : i;
    }
    return text.size();
}

} // namespace

std::optional<std::size_t> firstLineTooDeep(std::string_view text) {
    std::size_t line = 1;
    int brackets = 0;
    int dots = 0;
    for (std::size_t i = 0; i < text.size();) {
        if (const std::size_t end = endOfText(text, i); end > i) {
            line += static_cast<std::size_t>(
                std::count(text.begin() + static_cast<std::ptrdiff_t>(i),
                           text.begin() + static_cast<std::ptrdiff_t>(end), '\n'));
            i = end;
            continue;
        }
        const char c = text[i++];
        if (c == '[' || c == '{')
            ++brackets;
        else if (c == ']' || c == '}')
            brackets = std::max(brackets - 1, 0);
        else if (c == '.')
            ++dots;
        if (brackets > kMostBrackets || dots > kMostDots)
            return line;
        if (c == '\n') {
            ++line;
            dots = 0;
        }
    }
    return std::nullopt;
}

} // namespace brindle::tallyd
