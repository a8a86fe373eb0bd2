// SPDX-License-Identifier: BSD-2-Clause
#include "core/stats/Periods.h"
#include "tests/core/stats/TallyFixture.h"

#include <map>

namespace brindle {
namespace {

using test::CountRequest;

class TallySetTest : public TallyTest {
  protected:
    /// Replies by "obj action direction".
    void answers(std::map<std::string, CountReply> replies) {
        daemon.counts = [replies](const CountRequest& request) -> std::optional<CountReply> {
            const auto found =
                replies.find(request.subject + " " + request.action + " " + request.direction);
            return found == replies.end() ? std::nullopt : std::optional(found->second);
        };
    }
    static CountEntry ip(std::string label, std::int64_t value) {
        return {.label = std::move(label), .value = value, .isIP = true, .isPort = false};
    }
    static CountEntry port(std::string label, std::int64_t value) {
        return {.label = std::move(label), .value = value, .isIP = false, .isPort = true};
    }
};

TEST_F(TallySetTest, AReloadAsksForTheRemoteAddressAndThePortOfItsOwnPairAndStart) {
    const std::vector<std::array<std::string, 5>> table{
        {"pass", "in", "SRCIP", "pass", "in"},   {"block", "in", "SRCIP", "block", "in"},
        {"pass", "out", "DSTIP", "pass", "out"}, {"block", "out", "DSTIP", "block", "out"},
        {"nat", "out", "SRCIP", "block", "in"}, // none of the four pairs
        {"pass", "", "SRCIP", "block", "in"},
    };
    for (const auto& [action, direction, field, askedAction, askedDirection] : table) {
        daemon.countRequests.clear();
        TallySet tallies(services, action, direction);
        tallies.selectedEpoch = 1700000000.25;
        tallies.reloadTallies();
        const std::vector<CountRequest> expected{
            {1700000000.25, field, askedAction, askedDirection},
            {1700000000.25, "DSTPORT", askedAction, askedDirection}};
        EXPECT_EQ(daemon.countRequests, expected) << action << direction;
    }
}

TEST_F(TallySetTest, AReloadReplacesTheRowsAndAFailedRequestLeavesItsListEmpty) {
    answers({{"SRCIP block in", {.entries = {ip("192.0.2.7", 9), ip("192.0.2.1", 3)}}},
             {"DSTPORT block in", {.entries = {port("443", 8), port("81", 4)}}}});
    TallySet tallies(services, "block", "in");
    tallies.reloadTallies();
    tallies.reloadTallies();
    EXPECT_EQ(shown(tallies.arrayip), (Shown{{"192.0.2.7", 9}, {"192.0.2.1", 3}}));
    EXPECT_EQ(shown(tallies.arrayport), (Shown{{"443", 8}, {"81", 4}}));
    EXPECT_EQ(tallies.arrayport.at(0)->portname(), "https");
    EXPECT_EQ(tallies.arrayport.at(1)->portname(), "");
    EXPECT_TRUE(console.empty());

    answers({{"DSTPORT block in", {.entries = {port("22", 1)}}}});
    tallies.reloadTallies();
    EXPECT_EQ(shown(tallies.arrayip), Shown{});
    EXPECT_EQ(shown(tallies.arrayport), (Shown{{"22", 1}}));
    EXPECT_EQ(console, std::vector<std::string>{"Vardex XPC Service error: the request failed"});
}

TEST_F(TallySetTest, WithoutADaemonAReloadEmptiesTheLists) {
    answers({{"SRCIP pass in", {.entries = {ip("192.0.2.7", 9)}}},
             {"DSTPORT pass in", {.entries = {port("443", 8)}}}});
    TallySet tallies(services, "pass", "in");
    tallies.reloadTallies();
    ASSERT_EQ(tallies.arrayip.size(), 1u);
    services.helper->daemonConnection()->invalidate();
    main->run();
    daemon.reachable = false;
    tallies.reloadTallies();
    EXPECT_EQ(tallies.arrayip.size(), 0u);
    EXPECT_EQ(tallies.arrayport.size(), 0u);
}

TEST_F(TallySetTest, ExcludedCountsDoNotBecomeRows) {
    exclusions.addExclusion({"port", "80", std::nullopt, std::nullopt, 4});
    exclusions.addExclusion({"ip", "192.0.2.1", std::nullopt, std::nullopt, 4});
    exclusions.addExclusion({"cidr", "198.51.100.0/24", "198.51.100.0", "198.51.100.255", 4});
    exclusions.addExclusion(
        {"cidr", "2001:db8::/64", "2001:db8::", "2001:db8::ffff:ffff:ffff:ffff", 6});
    const std::vector<std::pair<CountEntry, bool>> table{
        {port("80", 1), true},
        {port("8", 1), false},
        {port("192.0.2.1", 1), false},
        {ip("80", 1), false},
        {{.label = "80", .value = 1, .isIP = true, .isPort = true}, false},
        {{.label = "80", .value = 1, .isIP = false, .isPort = false}, false},
        {ip("192.0.2.1", 1), true},
        {ip("198.51.100.7", 1), true},
        {ip("198.51.100.0", 1), false},   // the bounds are not between the bounds
        {ip("198.51.100.255", 1), false}, //
        {ip("198.51.101.7", 1), false},
        {ip("2001:db8::7", 1), true},
        {ip("2001:db8::", 1), false},
        {ip("2001:db8::ffff:ffff:ffff:ffff", 1), false},
        {ip("2001:db9::7", 1), false},
        {{}, false},
    };
    CountReply reply;
    Shown expected;
    for (const auto& [count, excluded] : table) {
        EXPECT_EQ(isCountExcluded(count, exclusions), excluded) << count.label << count.isIP;
        reply.entries.push_back(count);
        if (!excluded)
            expected.emplace_back(count.label, count.value);
    }
    answers({{"SRCIP pass in", reply}});
    TallySet tallies(services, "pass", "in");
    tallies.reloadTallies();
    EXPECT_EQ(shown(tallies.arrayip), expected);
}

TEST_F(TallySetTest, ALiveRecordCountsInItsOwnViewByRemoteAddressAndPort) {
    answers({{"SRCIP pass in", {.entries = {ip("203.0.113.7", 4)}, .sequence = 10}},
             {"DSTPORT pass in", {.entries = {port("80", 1)}, .sequence = 10}},
             {"DSTIP block out", {.entries = {}, .sequence = 10}},
             {"DSTPORT block out", {.entries = {}, .sequence = 10}}});
    TallySet passin(services, "pass", "in");
    TallySet blockout(services, "block", "out");
    for (TallySet* tallies : {&passin, &blockout})
        tallies->reloadTallies();
    const auto count = [&](const LiveRecordDictionary& record) {
        for (TallySet* tallies : {&passin, &blockout})
            tallies->countLiveRecord(record);
    };
    count(live("pass", "in", "203.0.113.7", "192.0.2.2", 443, 11));
    EXPECT_EQ(shown(passin.arrayip), (Shown{{"203.0.113.7", 5}}));
    EXPECT_EQ(shown(passin.arrayport), (Shown{{"80", 1}}))
        << "new rows come in a task of their own";
    // A burst on a new label before that task has run makes one row.
    for (const int sequence : {12, 13, 14})
        count(live("pass", "in", "2.33.0.1", "192.0.2.2", 443, sequence));
    count(live("block", "out", "192.0.2.2", "203.0.113.9", 22, 15));
    count(live("block", "in", "203.0.113.1", "192.0.2.2", 23, 16));
    runQueues();
    EXPECT_EQ(shown(passin.arrayip), (Shown{{"203.0.113.7", 5}, {"2.33.0.1", 3}}));
    EXPECT_EQ(shown(passin.arrayport), (Shown{{"80", 1}, {"443", 4}}));
    EXPECT_EQ(passin.arrayport.at(1)->portname(), "https");
    EXPECT_EQ(passin.arrayip.at(1)->nationcodeip(), "it");
    EXPECT_EQ(passin.arrayip.at(0)->nationcodeip(), "") << "only new rows are looked up";
    EXPECT_EQ(shown(blockout.arrayip), (Shown{{"203.0.113.9", 1}}));
    EXPECT_EQ(shown(blockout.arrayport), (Shown{{"22", 1}}));

    // What cannot be read counts nowhere.
    LiveRecordDictionary incomplete = live("pass", "in", "203.0.113.7", "192.0.2.2", 443, 17);
    incomplete.set(LiveKey::DSTPORT, std::string("443"));
    count(incomplete);
    EXPECT_EQ(passin.arrayip.at(0)->value(), 5);
}

TEST_F(TallySetTest, ARecordCountsOnceWhetherTheReplyHasItOrNot) {
    CountReply addresses{.entries = {ip("203.0.113.7", 2)}, .sequence = 20};
    CountReply ports{.entries = {port("443", 3)}, .sequence = 21};
    answers({{"SRCIP pass in", addresses}, {"DSTPORT pass in", ports}});
    TallySet tallies(services, "pass", "in");
    const auto record = [&](std::int64_t sequence) {
        tallies.countLiveRecord(live("pass", "in", "203.0.113.7", "192.0.2.2", 443, sequence));
    };
    // Streamed before the reply, still on its way into the list when the list is replaced.
    record(19);
    record(20);
    tallies.reloadTallies();
    runQueues();
    EXPECT_EQ(shown(tallies.arrayip), (Shown{{"203.0.113.7", 2}}));
    // Streamed before the reply, handed over after it.
    record(20);
    EXPECT_EQ(shown(tallies.arrayip), (Shown{{"203.0.113.7", 2}}));
    // In the second reply and not in the first.
    record(21);
    record(22);
    EXPECT_EQ(shown(tallies.arrayip), (Shown{{"203.0.113.7", 4}}));
    EXPECT_EQ(shown(tallies.arrayport), (Shown{{"443", 4}}));
}

TEST_F(TallySetTest, RowsThatWaitForTheirTaskMayOutliveTheSet) {
    {
        TallySet tallies(services, "pass", "in");
        tallies.countLiveRecord(live("pass", "in", "2.33.0.1", "192.0.2.2", 443, 1));
    }
    runQueues();
}

TEST(Periods, AChoiceSetsBothStartsAndOnlyAKnownOneIsRemembered) {
    PeriodState periods{.bootEpoch = 1000, .listsStartEpoch = 1000};
    const double midnight = 1700000000;
    EXPECT_EQ(choosePeriod(periods, 1, midnight), midnight - 592200);
    EXPECT_EQ(periods.listsStartEpoch, midnight - 592200);
    EXPECT_EQ(periods.listsPeriod, 1);
    EXPECT_EQ(choosePeriod(periods, 2, midnight), midnight - 2538000);
    EXPECT_EQ(periods.listsPeriod, 2);
    EXPECT_EQ(choosePeriod(periods, 7, midnight), 1000);
    EXPECT_EQ(periods.listsStartEpoch, 1000);
    EXPECT_EQ(periods.listsPeriod, 2);
    EXPECT_EQ(choosePeriod(periods, 0, midnight), 1000);
    EXPECT_EQ(periods.listsPeriod, 0);
}

} // namespace
} // namespace brindle
