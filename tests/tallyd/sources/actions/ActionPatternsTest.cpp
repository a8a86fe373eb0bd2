// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/sources/actions/ActionPatterns.h"

#include <gtest/gtest.h>

namespace brindle::tallyd {
namespace {

TEST(ActionPatterns, BlockingWordsAreFoundAsWholeWordsInAnyCase) {
    const ActionPatterns patterns;
    for (const char* prefix :
         {"[UFW BLOCK]", "drop", "IPTABLES-DROP:", "FINAL_REJECT: ", "Denied by policy",
          "deny:", "blk ", "STATE_INVALID_DROP", "x Discard", "invalid", "[WAN_LOCAL-D-10]",
          "WAN-R-2", "dropbox drop"})
        EXPECT_EQ(patterns.actionOf(prefix), Action::block) << prefix;
    for (const char* prefix : {"", "[UFW ALLOW]", "[UFW AUDIT]", "ACCEPT", "dropbox", "backdrop",
                               "blocked", "rejects", "WAN_LOCAL-A-10", "LAN-Data-1", "D-1"})
        EXPECT_EQ(patterns.actionOf(prefix), Action::pass) << prefix;
}

TEST(ActionPatterns, ConfiguredPatternsComeFirstAndInTheirOrder) {
    PrefixActions actions(ActionPatterns({{"drop test", Action::pass},
                                          {"quarantine", Action::block},
                                          {"drop", Action::block},
                                          {"", Action::block},
                                          {"reject", Action::pass}}));
    for (int round = 0; round < 2; ++round) { // the second answers from memory
        EXPECT_EQ(actions.of("DROP TEST 1"), Action::pass);
        EXPECT_EQ(actions.of("to quarantine"), Action::block);
        EXPECT_EQ(actions.of("drop"), Action::block);
        EXPECT_EQ(actions.of("REJECT"), Action::pass);
        EXPECT_EQ(actions.of("other"), Action::pass);
    }
    for (int i = 0; i < 3000; ++i)
        EXPECT_EQ(actions.of("drop " + std::to_string(i)), Action::block);
}

} // namespace
} // namespace brindle::tallyd
