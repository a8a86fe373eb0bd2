// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/sources/follow/FollowedFile.h"

#include "bench/captures/CaptureFile.h"
#include "tallyd/sources/live/LiveSource.h"
#include "tests/tallyd/sources/RecordingSink.h"
#include "tests/tallyd/sources/follow/LogFolder.h"

#include <fstream>
#include <iterator>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace brindle::tallyd {
namespace {

using namespace std::chrono_literals;

std::string packet(int port, const std::string& start = "Jun  8 14:34:33 gate kernel: [1.5] ") {
    return start + "DROP IN=eth0 OUT= SRC=203.0.113.7 DST=10.0.0.5 PROTO=UDP SPT=1 DPT=" +
           std::to_string(port) + "\n";
}

std::unique_ptr<LiveSource> follow(const LogFolder& folder, RecordSink& sink,
                                   MakeLineClock clock = presentLineClock) {
    auto source = std::make_unique<LiveSource>(
        "netfilter:" + folder.path(),
        std::make_unique<FollowedFile>(
            folder.path(), logContent(LineKind::netfilter, ActionPatterns(), std::move(clock))),
        20ms);
    source->start(sink);
    return source;
}

std::vector<int> portsOf(const RecordingSink::Seen& seen) {
    std::vector<int> ports;
    for (const PacketRecord& record : seen.records)
        ports.push_back(record.dstport);
    return ports;
}

TEST(FollowedFile, ARestartGoesOnWhereTheStoredRecordsEnd) {
    const LogFolder folder;
    RecordingSink first;
    auto source = follow(folder, first);
    first.waitForState("waiting: " + folder.path() + ": No such file");
    folder.append("another program's line\n" + packet(1) +
                  "x IN=eth0 OUT= SRC=203.0.113 DST=10.0.0.5 PROTO=UDP\n" + packet(2));
    first.waitForRecords(2);
    folder.append(packet(3));
    auto seen = first.waitForRecords(3);
    EXPECT_EQ(portsOf(seen), (std::vector{1, 2, 3}));
    EXPECT_EQ(seen.states.back(), "running");
    EXPECT_EQ(seen.lost, 1u);

    // What the second run finds stored is what came with the last record, as after a crash.
    RecordingSink second(RecordSink::WhenFull::wait, seen.position);
    source.reset();
    folder.append(packet(4));
    folder.rename("log", "log.1");
    folder.append(packet(5));
    source = follow(folder, second);
    seen = second.waitForRecords(2);
    EXPECT_EQ(portsOf(seen), (std::vector{4, 5}));

    // Lines without records move the place too, once there is time to store it.
    folder.append("another program's line\n");
    std::this_thread::sleep_for(300ms);
    source.reset();
    seen = second.seen();
    RecordingSink third(RecordSink::WhenFull::wait, seen.position);
    source = follow(folder, third);
    third.waitForState("running");
    std::this_thread::sleep_for(150ms);
    source.reset();
    EXPECT_EQ(third.seen().additions, 0u) << "the place was stored when the second run ended";
}

TEST(FollowedFile, ACaptureIsFollowedThroughRotationAndRestart) {
    const LogFolder folder;
    ASSERT_TRUE(bench::writeCapture({.count = 100}, folder.path("whole")));
    std::ifstream stream(folder.path("whole"), std::ios::binary);
    const std::string whole(std::istreambuf_iterator<char>(stream), {});
    // In pieces that end anywhere: within the header, between two packets, within one.
    const std::size_t pieces[]{0, 10, 500, 501, 2000, whole.size() / 2, whole.size()};
    const auto start = [&](RecordSink& sink) {
        auto source = std::make_unique<LiveSource>(
            "pflog:x",
            std::make_unique<FollowedFile>(folder.path(), captureContent(CaptureKind::pflog)),
            20ms);
        source->start(sink);
        return source;
    };
    RecordingSink first;
    auto source = start(first);
    for (std::size_t i = 1; i < std::size(pieces); ++i) {
        folder.append(whole.substr(pieces[i - 1], pieces[i] - pieces[i - 1]));
        std::this_thread::sleep_for(120ms);
    }
    const auto seen = first.waitForRecords(100);
    source.reset();
    EXPECT_EQ(seen.records.size(), 100u);
    EXPECT_EQ(seen.lost, 0u);

    folder.append(whole.substr(24));
    folder.rename("log", "log.1");
    folder.append(whole);
    RecordingSink second(RecordSink::WhenFull::wait, seen.position);
    source = start(second);
    const auto again = second.waitForRecords(200);
    source.reset();
    ASSERT_EQ(again.records.size(), 200u);
    for (std::size_t i = 0; i < 200; ++i)
        EXPECT_EQ(again.records[i], seen.records[i % 100]) << i;
}

TEST(FollowedFile, ACaptureOfAnotherKindIsNamed) {
    const LogFolder folder;
    ASSERT_TRUE(bench::writeCapture({.count = 2}, folder.path()));
    RecordingSink sink;
    LiveSource source(
        "nflog:x",
        std::make_unique<FollowedFile>(folder.path(), captureContent(CaptureKind::nflog)), 20ms);
    source.start(sink);
    sink.waitForState("waiting: " + folder.path() + ": link type 117 is not that of NFLOG");
    EXPECT_TRUE(sink.seen().records.empty());
}

TEST(CaptureFraming, ALengthThatCannotBeIsDamage) {
    CaptureFraming framing;
    std::string packet(16 + 3, '\0');
    packet[8] = 3;
    const auto whole = framing.find(packet + packet.substr(0, 18), 24, Framing::Buffer::hasRoom);
    EXPECT_EQ(whole.length, 19u);
    EXPECT_FALSE(whole.isDamaged);
    packet[11] = '\x7F';
    EXPECT_TRUE(framing.find(packet, 24, Framing::Buffer::hasRoom).isDamaged);
}

TEST(FollowedFile, TimesWithoutAYearDoNotRunBackwardsAtNewYear) {
    ::setenv("TZ", "UTC", 1);
    ::tzset();
    constexpr std::int64_t kNewYear = 1'767'225'600; // 2026
    const LogFolder folder;
    RecordingSink sink;
    std::atomic<std::int64_t> now = kNewYear - 2;
    const auto source = follow(folder, sink, [&now](std::int64_t) {
        return LineClock{now * 1'000'000, now * 1'000'000, std::nullopt};
    });
    const auto write = [&](const char* time, std::size_t count) {
        folder.append(packet(1, std::string(time) + " gate kernel: "));
        sink.waitForRecords(count);
    };
    write("Dec 31 23:59:58", 1);
    write("Jan  1 00:00:00", 2); // the writer's clock is ahead of ours
    now = kNewYear + 1;
    write("Dec 31 23:59:59", 3); // came late
    write("Jan  1 00:00:01", 4);
    const auto seen = sink.seen();
    const std::int64_t expected[]{-2, 0, -1, 1};
    for (std::size_t i = 0; i < 4; ++i)
        EXPECT_EQ(seen.records[i].timeMicros, (kNewYear + expected[i]) * 1'000'000) << i;
}

} // namespace
} // namespace brindle::tallyd
