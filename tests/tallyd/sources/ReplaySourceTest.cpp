// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/sources/ReplaySource.h"

#include "bench/captures/CaptureFile.h"
#include "tests/tallyd/sources/RecordingSink.h"
#include "tests/tallyd/sources/TemporaryFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace brindle::tallyd {
namespace {

std::unique_ptr<Source> makeStarted(const std::string& spec, RecordSink& sink) {
    auto source = makeSource(spec);
    EXPECT_TRUE(source) << source.error();
    (*source)->start(sink);
    return std::move(*source);
}

std::int64_t wallMicros() {
    return std::chrono::duration_cast<std::chrono::microseconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

TEST(ReplaySource, EveryRecordIsSentOnceInOrderWithThePresentTime) {
    TemporaryFile file;
    ASSERT_TRUE(bench::writeCapture({.count = 10'000}, file.path()));
    std::vector<PacketRecord> recorded;
    ASSERT_FALSE((*openInput(file.path()))->read(recorded, 20'000));

    const std::int64_t before = wallMicros();
    RecordingSink sink;
    const auto source = makeStarted("replay:" + file.path() + "@max", sink);
    const auto seen = sink.waitForEnd();
    EXPECT_EQ(seen.name, source->name());
    EXPECT_THAT(seen.states, testing::ElementsAre("running", "ended"));
    ASSERT_EQ(seen.records.size(), recorded.size());
    std::int64_t last = before;
    for (std::size_t i = 0; i < recorded.size(); ++i) {
        EXPECT_GE(seen.records[i].timeMicros, last);
        last = seen.records[i].timeMicros;
        recorded[i].timeMicros = last;
        ASSERT_EQ(seen.records[i], recorded[i]) << i;
    }
    EXPECT_LE(last, wallMicros());
}

TEST(ReplaySource, GapsOfTheRecordingAreKeptAndHighRatesSentInBatches) {
    TemporaryFile file;
    ASSERT_TRUE(bench::writeCapture({.count = 2000, .span = 20}, file.path()));
    std::vector<PacketRecord> recorded;
    (*openInput(file.path()))->read(recorded, 2000);
    const std::int64_t span = (recorded.back().timeMicros - recorded.front().timeMicros) / 100;

    const std::int64_t before = wallMicros();
    RecordingSink sink;
    const auto source = makeStarted("replay:" + file.path() + "@100", sink);
    const auto seen = sink.waitForEnd();
    ASSERT_EQ(seen.records.size(), 2000u);
    // Never faster than told (the wall clock may be set right meanwhile); how much slower depends
    // on the machine.
    EXPECT_GE(seen.records.back().timeMicros - before, span * 9 / 10);
    EXPECT_LT(seen.additions, 200u) << "about one every 20 ms, not one a record";
}

TEST(ReplaySource, DestructionDoesNotWaitForTheNextRecord) {
    TemporaryFile file;
    ASSERT_TRUE(bench::writeCapture({.count = 2, .span = 864'000}, file.path()));
    RecordingSink sink;
    auto source = makeStarted("replay:" + file.path() + "@0.5", sink);
    sink.waitFor([](const auto& seen) { return seen.records.size() == 1; });
    source.reset(); // would take days
    EXPECT_EQ(sink.waitFor([](const auto&) { return true; }).records.size(), 1u);
}

TEST(ReplaySource, LoopStartsAgainAndCountsWhatIsLostEachTime) {
    const TemporaryFile file("no packet\n"
                             "x IN=eth0 OUT= SRC=203.0.113.7 DST=10.0.0.5 PROTO=UDP\n");
    RecordingSink sink;
    auto source = makeStarted("replay:" + file.path() + "@max,loop", sink);
    sink.waitFor([](const auto& seen) { return seen.records.size() >= 5 && seen.lost >= 5; });
    std::filesystem::remove(file.path());
    const auto seen = sink.waitForEnd();
    EXPECT_EQ(seen.states.back(), file.path() + ": No such file or directory");
    EXPECT_EQ(seen.lost, seen.records.size());
}

TEST(ReplaySource, CutRecordingSaysSoAtItsEnd) {
    TemporaryFile file;
    ASSERT_TRUE(bench::writeCapture({.count = 5}, file.path()));
    file.shortenBy(1);
    RecordingSink sink;
    const auto source = makeStarted("replay:" + file.path() + "@max", sink);
    const auto seen = sink.waitForEnd();
    EXPECT_EQ(seen.records.size(), 4u);
    EXPECT_THAT(seen.states.back(), testing::HasSubstr("packet 5 is cut short"));
}

TEST(ReplayPlan, PathSpeedAndRepeatAreToldApart) {
    const auto plan = ReplayPlan::parse("/home/a@b/x.pcap@0.5,loop");
    ASSERT_TRUE(plan);
    EXPECT_EQ(plan->path, "/home/a@b/x.pcap");
    EXPECT_EQ(plan->speed, 0.5);
    EXPECT_EQ(plan->repeat, ReplayPlan::Repeat::loop);
    EXPECT_EQ(ReplayPlan::parse("/home/a@b/x.pcap")->speed, 1.0);
    EXPECT_EQ(ReplayPlan::parse("x@max")->speed, std::nullopt);
}

} // namespace
} // namespace brindle::tallyd
