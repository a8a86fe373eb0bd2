// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/sources/kernel/KernelBuffer.h"

#include "tallyd/sources/live/LiveSource.h"
#include "tests/tallyd/sources/RecordingSink.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

namespace brindle::tallyd {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

std::string packet(int sequence, std::int64_t uptimeMicros = 5, const char* priority = "4") {
    return std::string(priority) + "," + std::to_string(sequence) + "," +
           std::to_string(uptimeMicros) + ",-,caller=T12;DROP IN=eth0 OUT= SRC=203.0.113.7 " +
           "DST=10.0.0.5 PROTO=UDP SPT=1 DPT=" + std::to_string(sequence) +
           "\n SUBSYSTEM=net\n DEVICE=+eth0\n";
}

/// Stands in for the device: one message a read, none waited for.
class FakeDevice {
  public:
    FakeDevice() {
        if (::socketpair(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, ends_) != 0)
            throw std::runtime_error("no socket pair");
    }
    ~FakeDevice() { ::close(ends_[1]); }
    FakeDevice(const FakeDevice&) = delete;
    FakeDevice& operator=(const FakeDevice&) = delete;

    void write(const std::string& message) {
        ASSERT_EQ(::send(ends_[1], message.data(), message.size(), 0), ssize_t(message.size()));
    }
    std::unique_ptr<LiveSource> start(RecordSink& sink, const std::string& bootId = "boot-a") {
        auto source = std::make_unique<LiveSource>(
            "netfilter:/dev/kmsg",
            std::make_unique<KernelBuffer>([end = ends_[0]] { return end; }, bootId), 10ms);
        source->start(sink);
        return source;
    }

  private:
    int ends_[2];
};

std::vector<int> portsOf(const RecordingSink::Seen& seen) {
    std::vector<int> ports;
    for (const PacketRecord& record : seen.records)
        ports.push_back(record.dstport);
    return ports;
}

TEST(KernelMessage, RecordsOfTheDeviceAreTakenApart) {
    const auto plain = KernelMessage::parse("6,339,5140900,-,caller=T1;x\\x5cy\\x0az\n A=b\n");
    ASSERT_TRUE(plain);
    EXPECT_EQ(plain->sequence, 339u);
    EXPECT_EQ(plain->uptimeMicros, 5'140'900);
    EXPECT_TRUE(plain->isOfKernel);
    EXPECT_EQ(plain->text, "x\\y\nz");
    EXPECT_EQ(KernelMessage::parse("4,1,2,-;\\xg0 \\x4\n")->text, "\\xg0 \\x4");
    EXPECT_FALSE(KernelMessage::parse("12,1,2,-;from a program\n")->isOfKernel);
    for (const char* record :
         {"", "6", "6,1,2", "6,1,2,-", "6,1,2;", "x,1,2,-;t", "6,1,-;t",
          "6,99999999999999999999,2,-;t", "6,1,9223372036854775807,-;t", "6,1,-1,-;t"})
        EXPECT_FALSE(KernelMessage::parse(record)) << record;
}

TEST(KernelBuffer, MessagesAreTakenOnceAndMissingOnesCounted) {
    RecordingSink first;
    {
        FakeDevice device;
        device.write(packet(10));
        device.write(packet(11, 5, "12")); // a program may write what it likes
        device.write("6,12,5,-;eth0: link is up\n");
        device.write(packet(13));
        const auto source = device.start(first);
        first.waitForRecords(2);
        device.write(packet(17));
        first.waitForRecords(3);
    }
    auto seen = first.seen();
    EXPECT_THAT(portsOf(seen), ElementsAre(10, 13, 17));
    EXPECT_THAT(seen.lostBy, ElementsAre(testing::Pair("overwritten in the kernel's buffer", 3)));

    RecordingSink second(RecordSink::WhenFull::wait, seen.position);
    {
        FakeDevice device; // the buffer is read from its beginning again
        for (const int sequence : {13, 17, 18})
            device.write(packet(sequence));
        const auto source = device.start(second);
        second.waitForRecords(1);
    }
    EXPECT_THAT(portsOf(second.seen()), ElementsAre(18));
    EXPECT_EQ(second.seen().lost, 0u);

    RecordingSink rebooted(RecordSink::WhenFull::wait, second.seen().position);
    FakeDevice device;
    device.write(packet(0));
    device.write(packet(1));
    const auto source = device.start(rebooted, "boot-b");
    EXPECT_THAT(portsOf(rebooted.waitForRecords(2)), ElementsAre(0, 1));
}

TEST(KernelBuffer, TimesAreTheWallClocksWhateverTheKernelsClockSays) {
    RecordingSink sink;
    FakeDevice device;
    const std::int64_t boot = *presentLineClock(0).bootMicros;
    device.write(packet(1, 7'000'000));
    const auto source = device.start(sink);
    const auto old = sink.waitForRecords(1).records.back();
    EXPECT_NEAR(static_cast<double>(old.timeMicros), static_cast<double>(boot + 7'000'000), 1e6);
    std::this_thread::sleep_for(50ms);
    // The kernel's clock is an hour behind: a message that comes now was written now.
    const std::int64_t now = presentLineClock(0).nowMicros;
    device.write(packet(2, now - boot - 3'600'000'000));
    const auto fresh = sink.waitForRecords(2).records.back();
    EXPECT_GE(fresh.timeMicros, now);
    EXPECT_LE(fresh.timeMicros, presentLineClock(0).nowMicros);
}

TEST(KernelBuffer, ADeviceThatRefusesIsNamed) {
    KernelBuffer buffer(
        [] {
            errno = EPERM;
            return -1;
        },
        "boot-a");
    const auto opened = buffer.open();
    ASSERT_FALSE(opened);
    EXPECT_EQ(opened.error(), "/dev/kmsg: Operation not permitted");
}

TEST(KernelBuffer, TheDeviceOfThisMachineIsReadWithoutLoss) {
    if (::access("/dev/kmsg", R_OK) != 0 || !KernelBuffer::ofThisMachine()->open())
        GTEST_SKIP() << "no right to read /dev/kmsg";
    RecordingSink sink;
    {
        LiveSource source("netfilter:/dev/kmsg", KernelBuffer::ofThisMachine());
        source.start(sink);
        sink.waitFor([](const auto& seen) { return !seen.position.empty(); });
    }
    EXPECT_THAT(sink.seen().states, ElementsAre("running"));
    EXPECT_THAT(sink.seen().position, testing::StartsWith("kmsg1 "));
}

} // namespace
} // namespace brindle::tallyd
