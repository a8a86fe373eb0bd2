// SPDX-License-Identifier: BSD-2-Clause
//
// Against real journal files, which the journal's own tool for foreign entries writes.
#include "tallyd/sources/kernel/KernelJournal.h"

#include "tallyd/sources/live/LiveSource.h"
#include "tests/tallyd/sources/RecordingSink.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <systemd/sd-journal.h>
#include <unistd.h>

namespace brindle::tallyd {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

constexpr std::int64_t kStart = 1'700'000'000'000'000;
constexpr const char* kWriter = "/lib/systemd/systemd-journal-remote";

class KernelJournalTest : public testing::Test {
  protected:
    void SetUp() override {
        if (::access(kWriter, X_OK) != 0)
            GTEST_SKIP() << "systemd-journal-remote is not installed";
        std::string name = (std::filesystem::temp_directory_path() / "journal.XXXXXX").string();
        folder_ = ::mkdtemp(name.data());
        std::filesystem::create_directory(folder_ / "files");
    }
    ~KernelJournalTest() override { std::filesystem::remove_all(folder_); }

    std::filesystem::path file(const std::string& name) const {
        return folder_ / "files" / (name + ".journal");
    }
    /// Adds entries with packets to these ports, `second` seconds after kStart and on.
    void write(const std::string& name, const std::vector<int>& ports, int second,
               const std::string& transport = "kernel") const {
        std::ofstream entries(folder_ / "entries");
        for (const int port : ports) {
            entries << "__REALTIME_TIMESTAMP=" << kStart + second * 1'000'000 << "\n"
                    << "__MONOTONIC_TIMESTAMP=" << 5'000'000 + second * 1'000'000 << "\n"
                    << "_BOOT_ID=11111111111111111111111111111111\n_TRANSPORT=" << transport
                    << "\nMESSAGE=DROP IN=eth0 OUT= SRC=203.0.113.7 DST=10.0.0.5 PROTO=UDP SPT=1 "
                    << "DPT=" << port << "\n\n";
            ++second;
        }
        entries.close();
        const std::string command = std::string(kWriter) + " -o " + file(name).string() + " " +
                                    (folder_ / "entries").string() + " >/dev/null 2>&1";
        ASSERT_EQ(std::system(command.c_str()), 0);
    }
    std::unique_ptr<LiveSource> start(RecordSink& sink) const {
        auto source = std::make_unique<LiveSource>(
            "netfilter:journal",
            std::make_unique<KernelJournal>(
                [path = (folder_ / "files").string()](sd_journal** journal) {
                    return sd_journal_open_directory(journal, path.c_str(), 0);
                }),
            20ms);
        source->start(sink);
        return source;
    }
    static std::vector<int> portsOf(const RecordingSink::Seen& seen) {
        std::vector<int> ports;
        for (const PacketRecord& record : seen.records)
            ports.push_back(record.dstport);
        return ports;
    }

    std::filesystem::path folder_;
};

TEST_F(KernelJournalTest, EntriesOfTheKernelAreReadAsTheyComeAndARestartGoesOnBehindThem) {
    RecordingSink first;
    auto source = start(first);
    first.waitForState("waiting: there is no journal");
    write("a", {1, 2}, 0);
    const auto begun = first.waitForRecords(2);
    EXPECT_EQ(begun.states.back(), "running");
    EXPECT_EQ(begun.records[0].timeMicros, kStart);
    EXPECT_EQ(begun.records[1].timeMicros, kStart + 1'000'000);
    EXPECT_EQ(begun.records[0].rule, "DROP");
    write("a", {98, 99}, 10, "syslog");
    write("a", {3}, 20);
    first.waitForRecords(3);
    source.reset();
    EXPECT_THAT(portsOf(first.seen()), ElementsAre(1, 2, 3));

    write("a", {4}, 30);
    RecordingSink second(RecordSink::WhenFull::wait, first.seen().position);
    source = start(second);
    write("b", {5}, 40); // the journal goes on in another file
    EXPECT_THAT(portsOf(second.waitForRecords(2)), ElementsAre(4, 5));
    source.reset();

    RecordingSink third(RecordSink::WhenFull::wait, second.seen().position);
    source = start(third);
    third.waitForState("running");
    std::this_thread::sleep_for(100ms);
    source.reset();
    EXPECT_THAT(portsOf(third.seen()), ElementsAre());
}

TEST_F(KernelJournalTest, APlaceThatWasRotatedAwayGoesOnAtTheNearest) {
    write("a", {1, 2}, 0);
    write("b", {3, 4}, 100);
    RecordingSink first;
    auto source = start(first);
    first.waitForRecords(4);
    source.reset();
    write("c", {5}, 200);

    // Where the first run stood, and what stood before it, is gone.
    std::filesystem::remove(file("a"));
    std::filesystem::remove(file("b"));
    RecordingSink second(RecordSink::WhenFull::wait, first.seen().position);
    source = start(second);
    EXPECT_THAT(portsOf(second.waitForRecords(1)), ElementsAre(5));
    source.reset();

    RecordingSink damaged(RecordSink::WhenFull::wait, "journal1 nonsense");
    source = start(damaged);
    EXPECT_THAT(portsOf(damaged.waitForRecords(1)), ElementsAre(5));
}

} // namespace
} // namespace brindle::tallyd
