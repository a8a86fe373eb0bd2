// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/sources/actions/ActionPatterns.h"

#include <algorithm>

namespace brindle::tallyd {

namespace {

constexpr std::string_view kBlockWords[] = {"block",  "blk",     "drop",    "deny", "denied",
                                            "reject", "discard", "invalid", "-D-",  "-R-"};

// The prefixes of a rule set; beyond that someone writes changing texts, which are not worth
// keeping.
constexpr std::size_t kKnownLimit = 1024;

char lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
}

bool isWordCharacter(char c) {
    return (lower(c) >= 'a' && lower(c) <= 'z') || (c >= '0' && c <= '9');
}

bool contains(std::string_view prefix, std::string_view pattern) {
    if (pattern.empty())
        return false;
    const auto same = [](char a, char b) { return lower(a) == lower(b); };
    for (auto from = prefix.begin();; ++from) {
        from = std::search(from, prefix.end(), pattern.begin(), pattern.end(), same);
        if (from == prefix.end())
            return false;
        const auto to = from + static_cast<std::ptrdiff_t>(pattern.size());
        const bool startsWord = !isWordCharacter(pattern.front()) || from == prefix.begin() ||
                                !isWordCharacter(from[-1]);
        const bool endsWord =
            !isWordCharacter(pattern.back()) || to == prefix.end() || !isWordCharacter(*to);
        if (startsWord && endsWord)
            return true;
    }
}

} // namespace

ActionPatterns::ActionPatterns(std::vector<ActionPattern> configured)
    : patterns_(std::move(configured)) {
    for (const std::string_view word : kBlockWords)
        patterns_.push_back({std::string(word), Action::block});
}

Action ActionPatterns::actionOf(std::string_view prefix) const {
    for (const ActionPattern& pattern : patterns_)
        if (contains(prefix, pattern.text))
            return pattern.action;
    return Action::pass;
}

Action PrefixActions::of(std::string_view prefix) {
    if (const auto known = known_.find(prefix); known != known_.end())
        return known->second;
    const Action action = patterns_.actionOf(prefix);
    if (known_.size() < kKnownLimit)
        known_.emplace(prefix, action);
    return action;
}

} // namespace brindle::tallyd
