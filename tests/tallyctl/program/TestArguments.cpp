// SPDX-License-Identifier: BSD-2-Clause
#include "tallyctl/program/Arguments.h"

#include <cstdlib>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace brindle::tallyctl {
namespace {

tl::expected<Arguments, UsageEnd> parse(std::vector<const char*> words) {
    words.insert(words.begin(), "tallyctl");
    return parseArguments(static_cast<int>(words.size()), words.data());
}

TEST(TallyctlArguments, EveryCommandIsReadWithItsOptions) {
    const auto query = parse(
        {"--socket", "/s", "query", "--from", "-5", "--to", "1700000000.25", "--format", "csv"});
    ASSERT_TRUE(query) << query.error().text;
    EXPECT_EQ(query->command, Command::query);
    EXPECT_EQ(query->socketPath, "/s");
    EXPECT_EQ(query->from, -5.0);
    EXPECT_EQ(query->to, 1700000000.25);
    EXPECT_EQ(query->format, Format::csv);

    const auto count = parse({"count", "--epoch", "1.5", "--action", "block", "--direction", "out",
                              "--obj", "DSTPORT", "--socket", "/after"});
    ASSERT_TRUE(count) << count.error().text;
    EXPECT_EQ(count->command, Command::count);
    EXPECT_EQ(count->socketPath, "/after");
    EXPECT_EQ(count->epoch, 1.5);
    EXPECT_EQ(count->action, "block");
    EXPECT_EQ(count->direction, "out");
    EXPECT_EQ(count->object, "DSTPORT");
    EXPECT_EQ(count->format, Format::table);

    const auto ports = parse({"ports-of", "--epoch", "0", "--ip", "2001:db8::1", "--action", "pass",
                              "--direction", "in", "--pie", "--time"});
    ASSERT_TRUE(ports) << ports.error().text;
    EXPECT_TRUE(ports->time);
    EXPECT_FALSE(count->time);
    EXPECT_EQ(ports->command, Command::portsOf);
    EXPECT_EQ(ports->address, "2001:db8::1");
    EXPECT_EQ(ports->list, BreakdownList::pie);

    const auto addresses = parse(
        {"addresses-of", "--epoch", "0", "--port", "53", "--action", "pass", "--direction", "in"});
    ASSERT_TRUE(addresses) << addresses.error().text;
    EXPECT_EQ(addresses->command, Command::addressesOf);
    EXPECT_EQ(addresses->port, 53);
    EXPECT_EQ(addresses->list, BreakdownList::entries);

    const auto purge = parse({"purge", "--before", "12"});
    ASSERT_TRUE(purge) << purge.error().text;
    EXPECT_EQ(purge->command, Command::purge);
    EXPECT_EQ(purge->before, 12.0);
}

TEST(TallyctlArguments, FormatsHaveTheDefaultOfTheirCommand) {
    EXPECT_EQ(parse({"tail"})->format, Format::jsonl);
    EXPECT_EQ(parse({"tail", "--format", "table"})->format, Format::table);
    EXPECT_EQ(parse({"query", "--from", "0", "--to", "1"})->format, Format::table);
    EXPECT_EQ(parse({"status"})->format, Format::table);
    EXPECT_EQ(parse({"status", "--json"})->format, Format::jsonl);
    EXPECT_EQ(parse({"status", "--format", "json"})->format, Format::jsonl);
}

TEST(TallyctlArguments, TheSocketComesFromTheEnvironmentWhenNotGiven) {
    ::setenv("TALLYD_SOCKET", "/from/environment", 1);
    EXPECT_EQ(parse({"rows"})->socketPath, "/from/environment");
    EXPECT_EQ(parse({"--socket", "/given", "rows"})->socketPath, "/given");
    ::unsetenv("TALLYD_SOCKET");
    EXPECT_EQ(parse({"rows"})->socketPath, "/run/tallyd/tallyd.sock");
}

TEST(TallyctlArguments, WrongUsageIsRefusedBeforeAnythingIsAsked) {
    const std::vector<std::vector<const char*>> cases{
        {},
        {"unknown"},
        {"version", "extra"},
        {"version", "rows"},
        {"query", "--from", "1"},
        {"query", "--from", "1", "--to", "tomorrow"},
        {"query", "--from", "1", "--to", "inf"},
        {"query", "--from", "1", "--to", "0x10"},
        {"query", "--from", "1", "--to", "2", "--format", "xml"},
        {"count", "--epoch", "1", "--action", "drop", "--direction", "in", "--obj", "SRCIP"},
        {"count", "--epoch", "1", "--action", "pass", "--direction", "up", "--obj", "SRCIP"},
        {"count", "--epoch", "1", "--action", "pass", "--direction", "in", "--obj", "srcip"},
        {"ports-of", "--epoch", "1", "--action", "pass", "--direction", "in", "--ip", "1.2.3"},
        {"addresses-of", "--epoch", "1", "--action", "pass", "--direction", "in", "--port",
         "65536"},
        {"addresses-of", "--epoch", "1", "--action", "pass", "--direction", "in", "--port", "http"},
        {"purge"},
        {"status", "--format", "csv"},
    };
    for (const auto& words : cases) {
        const auto result = parse(words);
        ASSERT_FALSE(result) << ::testing::PrintToString(words);
        EXPECT_EQ(result.error().exitCode, 2) << ::testing::PrintToString(words);
        EXPECT_FALSE(result.error().text.empty());
    }
    const auto help = parse({"--help"});
    ASSERT_FALSE(help);
    EXPECT_EQ(help.error().exitCode, 0);
    EXPECT_THAT(help.error().text, ::testing::HasSubstr("addresses-of"));
}

} // namespace
} // namespace brindle::tallyctl
