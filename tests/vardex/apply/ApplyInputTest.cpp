// SPDX-License-Identifier: BSD-2-Clause
#include "vardex/apply/ApplyInput.h"
#include "tallyd/sources/actions/ActionPatterns.h"
#include "vardex/apply/Ruleset.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <unistd.h>

namespace brindle::vardex {
namespace {

using testing::ElementsAre;

TEST(ApplyInput, TakesWhatIsAnAddressAndSaysWhatItRefuses) {
    MachineAddresses machine;
    machine.gateways = {*IpAddress::parse("192.0.2.1")};
    const ApplyInput input = checkInput("203.0.113.9\n\n192.0.2.1\nforce 192.0.2.0/24\n"
                                        "2001:db8::1/64\nforce nonsense\nforce force 192.0.2.9\n"
                                        "192.0.2.7 } ; flush ruleset ; {\n 203.0.113.1\n"
                                        "203.0.113.2\r\n127.0.0.1\nforce 127.0.0.2",
                                        machine);
    std::vector<std::string> taken;
    for (const AddressBlock& block : input.blocks)
        taken.push_back(block.text());
    EXPECT_THAT(taken, ElementsAre("127.0.0.2", "192.0.2.0/24", "203.0.113.9", "2001:db8::/64"));
    EXPECT_THAT(input.refused,
                ElementsAre("refused 192.0.2.1: is the default gateway",
                            "refused nonsense: is not an address or block",
                            "refused force 192.0.2.9: is not an address or block",
                            "refused 192.0.2.7 } ; flush ruleset ; {: is not an address or block",
                            "refused  203.0.113.1: is not an address or block",
                            "refused 203.0.113.2?: is not an address or block",
                            "refused 127.0.0.1: is a loopback address"));
}

TEST(ApplyInput, StrangeLinesAreShownShortAndWithoutControlCharacters) {
    const ApplyInput input =
        checkInput("\x1b[31mred\n" + std::string(100000, 'x') + "\n" + std::string(1, '\0'), {});
    ASSERT_EQ(input.refused.size(), 3u);
    EXPECT_EQ(input.refused[0], "refused ?[31mred: is not an address or block");
    EXPECT_LT(input.refused[1].size(), 120u);
    EXPECT_EQ(input.refused[2], "refused ?: is not an address or block");
}

TEST(ApplyInput, IsReadToTheEndAndNotBeyondTheBound) {
    for (const std::size_t size : {std::size_t{0}, std::size_t{5}, std::size_t{6}}) {
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        ASSERT_EQ(write(ends[1], "123456", size), static_cast<ssize_t>(size));
        close(ends[1]);
        const auto text = readBounded(ends[0], 5);
        EXPECT_EQ(text.has_value(), size <= 5);
        EXPECT_EQ(text.value_or("too long"), size <= 5 ? std::string("12345", size) : "too long");
        close(ends[0]);
    }
    EXPECT_FALSE(readBounded(-1));
}

TEST(Ruleset, HoldsTheAddressesAndNothingElseOfTheInput) {
    const std::string text = rulesetText(
        checkInput("203.0.113.9\n192.0.2.0/24\n2001:db8::1\nbad } { \"\n", {}).blocks, 17);
    EXPECT_THAT(text, testing::HasSubstr("elements = { 192.0.2.0/24, 203.0.113.9 }"));
    EXPECT_THAT(text, testing::HasSubstr("elements = { 2001:db8::1 }"));
    EXPECT_THAT(text, testing::HasSubstr("group 17 "));
    EXPECT_THAT(text, testing::Not(testing::HasSubstr("bad")));
    EXPECT_THAT(rulesetText({}, 5), testing::Not(testing::HasSubstr("elements")));
}

/// What the daemon reads in its log is a block, so that the viewer shows it as one.
TEST(Ruleset, ItsLogPrefixTellsTheDaemonThatThePacketWasBlocked) {
    EXPECT_EQ(tallyd::ActionPatterns().actionOf(kLogPrefix), Action::block);
}

} // namespace
} // namespace brindle::vardex
