// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/sources/capture/LiveCapture.h"

#include "tallyd/sources/capture/CaptureDevices.h"
#include "tallyd/sources/live/LiveSource.h"
#include "tallyd/sources/pflog/PflogDecoder.h"
#include "tests/tallyd/sources/RecordingSink.h"
#include "tests/tallyd/sources/capture/NetworkNamespace.h"

#include <algorithm>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pcap/pcap.h>

namespace brindle::tallyd {
namespace {

using namespace std::chrono_literals;
using test::NetworkNamespace;
using test::PacketSender;
using testing::HasSubstr;
constexpr auto kDrop = RecordSink::WhenFull::drop;

std::int64_t wallMicros() {
    return std::chrono::duration_cast<std::chrono::microseconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

class LiveCaptureTest : public testing::Test {
  protected:
    void SetUp() override {
        if (!network.missing().empty())
            GTEST_SKIP() << network.missing();
        if (!network.logPort(9905, "SITE_DROP ", 5))
            GTEST_SKIP() << "the kernel has no NFLOG";
    }
    static std::unique_ptr<LiveSource> group5() {
        return std::make_unique<LiveSource>(
            "nflog:5", std::make_unique<LiveCapture>([] { return openNflogGroup(5); }), 50ms);
    }

    NetworkNamespace network;
};

TEST_F(LiveCaptureTest, APacketOfTheGroupIsARecordWithinATenthOfASecond) {
    RecordingSink sink(kDrop);
    const auto source = group5();
    source->start(sink);
    const PacketSender sender(9905);
    // A busy machine delays one or the other; the kernel left to itself, every one by a second.
    std::int64_t quickest = 1'000'000;
    for (std::size_t sent = 1; sent <= 5; ++sent) {
        const std::int64_t before = wallMicros();
        sender.send(1);
        const auto seen = sink.waitForRecords(sent);
        const std::int64_t after = wallMicros();
        ASSERT_EQ(seen.records.size(), sent);
        const PacketRecord& record = seen.records.back();
        EXPECT_EQ(record.rule, "SITE_DROP");
        EXPECT_EQ(record.action, Action::block);
        EXPECT_EQ(record.direction, Direction::out);
        EXPECT_EQ(record.interface, "lo");
        EXPECT_EQ(record.proto, "udp");
        EXPECT_EQ(record.dst.text(), "127.0.0.1");
        EXPECT_EQ(record.dstport, 9905);
        EXPECT_EQ(record.uid, ::getuid());
        EXPECT_GE(record.timeMicros, before);
        EXPECT_LE(record.timeMicros, after);
        quickest = std::min(quickest, after - before);
    }
    EXPECT_LT(quickest, 100'000);
    EXPECT_EQ(sink.seen().lost, 0u);
}

TEST_F(LiveCaptureTest, EveryPacketIsReceivedOrCountedAsLost) {
    RecordingSink sink(kDrop);
    const auto source =
        std::make_unique<LiveSource>("nflog:5", std::make_unique<LiveCapture>([] {
                                         auto opened = openNflogGroup(5);
                                         const int small = 64 * 1024;
                                         ::setsockopt(pcap_get_selectable_fd(opened->handle.get()),
                                                      SOL_SOCKET, SO_RCVBUF, &small, sizeof small);
                                         return opened;
                                     }));
    const PacketSender sender(9905);
    constexpr int kFlood = 20'000;
    sender.send(kFlood); // nobody reads yet
    source->start(sink);
    sink.waitFor([](const auto& seen) { return seen.records.size() > 0; });
    std::this_thread::sleep_for(300ms);
    sender.send(1); // its number tells what is missing before it
    const auto seen = sink.waitFor(
        [](const auto& s) { return s.records.size() + s.lost >= std::size_t{kFlood} + 1; });
    EXPECT_EQ(seen.records.size() + seen.lost, std::size_t{kFlood} + 1);
    EXPECT_GT(seen.lost, 0u);
    EXPECT_GT(seen.records.size(), 100u);
    ASSERT_EQ(seen.lostBy.size(), 1u);
    EXPECT_THAT(seen.lostBy.begin()->first, HasSubstr("dropped by the kernel"));
}

TEST_F(LiveCaptureTest, ATakenGroupIsWaitedFor) {
    auto other = openNflogGroup(5);
    ASSERT_TRUE(other) << other.error();
    RecordingSink sink(kDrop);
    auto source = group5();
    source->start(sink);
    EXPECT_EQ(sink.waitForState("waiting").states.back(),
              "waiting: group 5 is taken by another program");
    other = tl::unexpected(std::string());
    sink.waitForState("running");
    PacketSender(9905).send(1);
    sink.waitForRecords(1);
    source.reset();
    EXPECT_TRUE(openNflogGroup(5)) << "a source that ended leaves its group";
}

TEST_F(LiveCaptureTest, AnInterfaceMayGoAndComeAgain) {
    // The kernel here has no pf: any interface that can go stands in for its log.
    const auto add = [] { return NetworkNamespace::run("ip link add log0 up type bridge"); };
    if (!add())
        GTEST_SKIP() << "the kernel has no bridges";
    RecordingSink sink(kDrop);
    auto source = std::make_unique<LiveSource>(
        "pflog:log0", std::make_unique<LiveCapture>([]() -> tl::expected<OpenCapture, std::string> {
            char reason[PCAP_ERRBUF_SIZE] = "";
            PcapHandle handle(pcap_open_live("log0", 1024, 0, 20, reason));
            if (!handle)
                return tl::unexpected(std::string(reason));
            pcap_setnonblock(handle.get(), 1, reason);
            return OpenCapture{std::move(handle), std::make_unique<PflogDecoder>()};
        }),
        20ms);
    source->start(sink);
    for (int round = 0; round < 2; ++round) {
        sink.waitForState("running");
        ASSERT_TRUE(NetworkNamespace::run("ip link del log0"));
        sink.waitForState("waiting: ");
        ASSERT_TRUE(add());
    }
    sink.waitForState("running");
}

TEST_F(LiveCaptureTest, AnInterfaceThatIsNotThereOrNotPfsIsNamed) {
    const auto missing = openPflogInterface("pflog0");
    ASSERT_FALSE(missing);
    EXPECT_EQ(missing.error(), "there is no such interface");
    const auto foreign = openPflogInterface("lo");
    ASSERT_FALSE(foreign);
    EXPECT_THAT(foreign.error(), HasSubstr("Ethernet, not pf's log"));
}

} // namespace
} // namespace brindle::tallyd
