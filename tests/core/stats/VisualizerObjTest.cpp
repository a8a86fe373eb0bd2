// SPDX-License-Identifier: BSD-2-Clause
#include "core/stats/Breakdown.h"
#include "core/stats/VisibleNations.h"
#include "tests/core/stats/TallyFixture.h"

#include <set>

namespace brindle {
namespace {

class VisualizerObjTest : public TallyTest {
  protected:
    VisualizerObjTest() { resolver.known[kAddress] = *platform::socketAddressData(kAddress); }
    TallyRows::Row address(std::string label = kAddress) {
        return VisualizerObj::create({.isIP = true}, std::move(label), 1, &portNames);
    }
    static constexpr const char* kAddress = "2.33.0.1";
};

TEST_F(VisualizerObjTest, TheFirstNameTakesTheLabelAndNothingElse) {
    const auto row = address();
    row->setHostname(services);
    EXPECT_TRUE(row->hasBeenReversed());
    row->setHostname(services);
    EXPECT_EQ(resolver.completions.size(), 1u) << "one look-up at a time";
    resolver.answer(kAddress, {"host.example", "other.example"});
    EXPECT_EQ(row->label(), "host.example");
    EXPECT_EQ(row->originallabel(), kAddress);
    EXPECT_TRUE(row->queriesip().empty());
    timers.advance(11);
    EXPECT_TRUE(row->hasBeenReversed()) << "a name that came is no time-out";
    runQueues();
    EXPECT_EQ(row->nationcodeip(), "it") << "the look-up also asks for the nation";
}

TEST_F(VisualizerObjTest, OnlyATimeOutMakesARowEligibleAgain) {
    struct Case {
        const char* what;
        std::function<void(VisualizerObj&)> happens;
        bool eligibleAfter;
    };
    const std::vector<Case> cases{
        {"silence", [](VisualizerObj&) {}, true},
        {"an empty list",
         [&](VisualizerObj& row) { row.didCompleteWithNames({}, *row.queriesip().at(kAddress)); },
         true},
        {"an empty name", [&](VisualizerObj&) { resolver.answer(kAddress, {""}); }, true},
        {"an error", [&](VisualizerObj&) { resolver.fail(kAddress); }, false},
    };
    for (const Case& each : cases) {
        const auto row = address();
        row->setHostname(services);
        each.happens(*row);
        EXPECT_TRUE(row->hasBeenReversed()) << each.what;
        timers.advance(10);
        EXPECT_EQ(row->label(), kAddress) << each.what;
        EXPECT_EQ(row->hasBeenReversed(), !each.eligibleAfter) << each.what;
        EXPECT_TRUE(row->queriesip().empty()) << each.what;
        EXPECT_EQ(resolver.running, 0) << each.what;
        resolver.completions.clear();
    }
}

TEST_F(VisualizerObjTest, WhatCannotBeAskedIsNotAsked) {
    const auto text = address("no address");
    text->setHostname(services);
    const auto port = VisualizerObj::create({.isPort = true}, "443", 1, &portNames);
    port->setHostname(services);
    EXPECT_TRUE(resolver.completions.empty());
    EXPECT_TRUE(text->hasBeenReversed());
    EXPECT_FALSE(port->hasBeenReversed());
    timers.advance(10);
    EXPECT_FALSE(text->hasBeenReversed());
}

TEST_F(VisualizerObjTest, LookUpsMayAnswerAfterTheirRowHasGone) {
    auto row = address();
    row->setHostname(services);
    row.reset();
    EXPECT_EQ(resolver.running, 0) << "and its query stops";
    timers.advance(10);
    runQueues();
}

TEST_F(VisualizerObjTest, NationsAreLookedUpOnceForTheRowsInSightAndTheOneBelow) {
    std::vector<TallyRows::Row> rows;
    for (int i = 0; i < 20; ++i)
        rows.push_back(address("2.33.0." + std::to_string(i)));
    rows[3] = address("10.0.0.1");
    const auto lookedUp = [&] {
        std::set<std::size_t> places;
        for (std::size_t i = 0; i < rows.size(); ++i)
            if (rows[i]->nationisset())
                places.insert(i);
        return places;
    };
    const auto resolve = [&](std::size_t first, std::size_t number) {
        resolveVisibleNations(
            {first, number, rows.size()},
            [&](std::size_t place) -> VisualizerObj& { return *rows[place]; }, services);
    };
    resolve(5, 0);
    EXPECT_TRUE(lookedUp().empty());
    resolve(2, 3);
    EXPECT_EQ(lookedUp(), (std::set<std::size_t>{2, 3, 4, 5}));
    resolve(18, 5);
    EXPECT_EQ(lookedUp(), (std::set<std::size_t>{2, 3, 4, 5, 18, 19}));
    runQueues();
    EXPECT_EQ(rows[2]->nationcodeip(), "it");
    EXPECT_FALSE(rows[2]->image().isEmpty());
    EXPECT_EQ(rows[3]->nationcodeip(), "lan");
    EXPECT_EQ(rows[6]->nationcodeip(), "");
    resolve(2, 3);
    EXPECT_TRUE(global->idle()) << "never twice";
}

TEST_F(VisualizerObjTest, ABreakdownColoursItsFirstNineRowsAndLooksUpTheirNations) {
    daemon.breakdown = [](const test::CountRequest&) {
        BreakdownReply reply;
        for (int i = 0; i < 12; ++i) {
            reply.entries.push_back({"2.33.0." + std::to_string(i), 100 - i, true, false});
            reply.pie.push_back({"2.33.0." + std::to_string(i), 100 - i, true, false});
        }
        return reply;
    };
    const auto port = VisualizerObj::create({.isPort = true}, "443", 1, &portNames);
    const auto found = requestBreakdown(*port, InspectedKind::port, 12.5, "block", "in", services);
    ASSERT_TRUE(found);
    EXPECT_EQ(daemon.countRequests,
              (std::vector<test::CountRequest>{{12.5, "443", "block", "in"}}));
    EXPECT_EQ(found->obj, "port");
    ASSERT_EQ(found->arrayforcontroller.size(), 12u);
    EXPECT_EQ(found->arrayforpiechart.size(), 12u);
    for (std::size_t i = 0; i < 12; ++i) {
        const auto& row = *found->arrayforcontroller[i];
        EXPECT_EQ(row.color(), tallyColours().at(i < 9 ? static_cast<int>(i) + 1 : 0)) << i;
        EXPECT_EQ(row.nationisset(), i < 9) << i;
    }
    runQueues();
    EXPECT_EQ(found->arrayforcontroller[8]->nationcodeip(), "it");

    // An address row that shows a host name is still asked for by its address.
    const auto named = address();
    named->setHostname(services);
    resolver.answer(kAddress, {"host.example"});
    daemon.breakdown = [](const test::CountRequest&) { return std::nullopt; };
    const auto failed =
        requestBreakdown(*named, InspectedKind::address, 0, "pass", "out", services);
    EXPECT_EQ(daemon.countRequests.back().subject, kAddress);
    EXPECT_EQ(failed->obj, "ip");
    EXPECT_TRUE(failed->arrayforcontroller.empty());
    EXPECT_EQ(console.size(), 1u);
    EXPECT_FALSE(requestBreakdown(*named, InspectedKind::port, 0, "pass", "out", services));
}

} // namespace
} // namespace brindle
