// SPDX-License-Identifier: BSD-2-Clause
//
// Pass or block, told from a log prefix: Netfilter records no verdict, only the text that the rule
// writes. The composition root makes the patterns from the configuration; each decoder owns a copy
// and asks it on its own thread.
//
//     PrefixActions actions{ActionPatterns({{"quarantine", Action::block}})};
//     actions.of("[UFW BLOCK] "); // Action::block, by a built-in pattern
#pragma once

#include "core/log/records/PacketRecord.h"

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace brindle::tallyd {

struct ActionPattern {
    /// Found anywhere in the prefix, in either case. An end of it that is a letter or digit must be
    /// the end of a word there: "drop" is in "LAN_DROP:", not in "dropbox".
    std::string text;
    Action action = Action::block;

    friend bool operator==(const ActionPattern&, const ActionPattern&) = default;
};

/// Ordered patterns: the configured ones, then the built-in ones. Immutable once made.
class ActionPatterns {
  public:
    explicit ActionPatterns(std::vector<ActionPattern> configured = {});

    /// The action of the first pattern that is found; pass if none is.
    Action actionOf(std::string_view prefix) const;

  private:
    std::vector<ActionPattern> patterns_;
};

/// Remembers the answer for each prefix: a rule set has few, its log has millions of lines.
class PrefixActions {
  public:
    explicit PrefixActions(ActionPatterns patterns) : patterns_(std::move(patterns)) {}

    Action of(std::string_view prefix);

  private:
    struct Hash {
        using is_transparent = void;
        std::size_t operator()(std::string_view text) const {
            return std::hash<std::string_view>()(text);
        }
    };

    ActionPatterns patterns_;
    std::unordered_map<std::string, Action, Hash, std::equal_to<>> known_;
};

} // namespace brindle::tallyd
