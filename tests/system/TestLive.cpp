// SPDX-License-Identifier: BSD-2-Clause
//
// The live stream, and what survives a daemon that is killed.
#include "tests/system/Workshop.h"

#include <csignal>
#include <set>

namespace brindle::test {
namespace {

using nlohmann::json;

class Live : public Workshop {};

TEST_F(Live, TailPrintsReplayedRecordsUntilInterrupted) {
    serve({"replay:" + capture("openbsd", 5000, 1, 50) + "@1,loop"});
    Process tail(tallyctl({"tail"}));
    for (int i = 0; i < 50; ++i) {
        const auto line = tail.line();
        ASSERT_TRUE(line) << i;
        const json record = json::parse(*line);
        EXPECT_EQ(record.size(), 12u) << *line;
        for (const auto& [key, value] : record.items())
            EXPECT_TRUE(value.is_string()) << *line;
    }
    const auto status = json::parse(ask({"status", "--json"}).output);
    EXPECT_EQ(status.at("liveClients"), 1);
    EXPECT_GE(status.at("stored").get<int>(), 50);
    EXPECT_EQ(status.at("sources").size(), 1u);
    tail.signal(SIGINT);
    const Finished ended = tail.finish();
    EXPECT_EQ(ended.exitCode, 0);
    EXPECT_EQ(ended.errors, "");

    Process second(tallyctl({"tail"}));
    ASSERT_TRUE(second.line());
    daemon_->signal(SIGTERM);
    const Finished stopped = daemon_->finish();
    EXPECT_EQ(stopped.exitCode, 0) << stopped.errors;
    const Finished left = second.finish();
    EXPECT_EQ(left.exitCode, 1);
    EXPECT_EQ(linesOf(left.errors).size(), 1u) << left.errors;
}

TEST_F(Live, WhatWasStreamedSurvivesAKilledDaemon) {
    const std::string source = "replay:" + capture("freebsd", 20000, 5, 100) + "@5,loop";
    std::set<std::string> seen;
    for (int round = 0; round < 3; ++round) {
        serve({source});
        Process tail(tallyctl({"tail"}));
        for (int i = 0; i < 200 + 77 * round; ++i) {
            const auto line = tail.line();
            ASSERT_TRUE(line) << "round " << round << ", record " << i;
            seen.insert(*line);
        }
        daemon_->signal(SIGKILL);
        daemon_->finish();
        while (const auto line = tail.line())
            seen.insert(*line);
        EXPECT_EQ(tail.finish().exitCode, 1);
    }
    serve();
    const Finished all = ask({"query", "--from", "0", "--to", "9999999999", "--format", "jsonl"});
    ASSERT_EQ(all.exitCode, 0) << all.errors;
    const auto lines = linesOf(all.output);
    const std::set<std::string> stored(lines.begin(), lines.end());
    for (const std::string& line : seen)
        EXPECT_TRUE(stored.contains(line)) << line;
    EXPECT_EQ(ask({"rows"}).output, std::to_string(lines.size()) + "\n");
    EXPECT_EQ(run({"sqlite3", store(), "pragma integrity_check"}).output, "ok\n");
}

} // namespace
} // namespace brindle::test
