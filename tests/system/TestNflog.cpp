// SPDX-License-Identifier: BSD-2-Clause
//
// From the kernel's packet filter to a client: real rules, real packets, a network of the test's
// own.
#include "tests/system/Workshop.h"
#include "tests/tallyd/sources/capture/NetworkNamespace.h"

#include <csignal>

namespace brindle::test {
namespace {

using nlohmann::json;

class Nflog : public Workshop {
  protected:
    void SetUp() override {
        if (!network.missing().empty())
            GTEST_SKIP() << network.missing();
        if (!network.logPort(9905, "SITE_DROP ", 5) || !network.logPort(9906, "SITE_ALLOW ", 6))
            GTEST_SKIP() << "the kernel has no NFLOG";
    }

    NetworkNamespace network;
};

TEST_F(Nflog, LoggedPacketsAreStreamedStoredAndAccountedForByGroup) {
    serve({"nflog:5", "nflog:6", "pflog:pflog0"});
    Process tail(tallyctl({"tail"}));
    // The stream is asked for once the client is there.
    while (json::parse(ask({"status", "--json"}).output).at("liveClients") != 1)
        ::usleep(10'000);
    const PacketSender dropped(9905);
    const PacketSender allowed(9906);
    dropped.send(1);
    const auto line = tail.line();
    ASSERT_TRUE(line);
    const json live = json::parse(*line);
    EXPECT_EQ(live.at("rule"), "SITE_DROP") << live;
    EXPECT_EQ(live.at("action"), "block") << live;

    dropped.send(2999);
    allowed.send(2000);
    for (int i = 1; i < 5000; ++i)
        ASSERT_TRUE(tail.line()) << i;

    const json status = json::parse(ask({"status", "--json"}).output);
    EXPECT_EQ(status.at("stored"), 5000);
    EXPECT_EQ(status.at("lost").size(), 0u) << status;
    const json& sources = status.at("sources");
    ASSERT_EQ(sources.size(), 3u);
    EXPECT_EQ(sources[0].at("state"), "running");
    EXPECT_EQ(sources[0].at("stored"), 3000);
    EXPECT_EQ(sources[1].at("stored"), 2000);
    EXPECT_EQ(sources[2].at("state"), "waiting: there is no such interface");

    int blocked = 0;
    for (const json& record : records()) {
        EXPECT_EQ(record.at("dstport"), record.at("action") == "block" ? "9905" : "9906");
        blocked += record.at("action") == "block";
    }
    EXPECT_EQ(blocked, 3000);

    daemon_->signal(SIGTERM);
    const Finished ended = daemon_->finish();
    EXPECT_EQ(ended.exitCode, 0);
    EXPECT_EQ(linesOf(ended.errors),
              std::vector<std::string>{
                  "tallyd: source \"pflog:pflog0\" waits: there is no such interface"});
}

} // namespace
} // namespace brindle::test
