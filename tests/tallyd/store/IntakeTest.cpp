// SPDX-License-Identifier: BSD-2-Clause
#include "tests/tallyd/store/StoreFixture.h"

#include "tallyd/store/Intake.h"

#include <future>
#include <numeric>

#include <gmock/gmock.h>

namespace brindle::tallyd {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Pair;

using Stored = std::shared_ptr<const std::vector<StoredRecord>>;
using WhenFull = RecordSink::WhenFull;

constexpr auto kNever = std::chrono::hours(1);

/// Keeps the writer thread inside the listener until it is opened: what is added meanwhile queues.
class Gate {
  public:
    void pass() {
        entered_.set_value();
        open_.get_future().wait();
    }
    void waitUntilEntered() { entered_.get_future().wait(); }
    void open() { open_.set_value(); }

  private:
    std::promise<void> entered_;
    std::promise<void> open_;
};

class IntakeTest : public StoreTest {
  protected:
    static std::vector<PacketRecord> some(std::uint32_t first, std::uint32_t count) {
        std::vector<PacketRecord> records;
        for (std::uint32_t number = first; number < first + count; ++number)
            records.push_back(numbered(number, number));
        return records;
    }
    void expectBalanced(const DaemonStatus& status) {
        std::uint64_t lost = 0;
        for (const auto& [reason, count] : status.lost)
            lost += count;
        EXPECT_EQ(status.received, status.stored + lost);
    }
};

TEST_F(IntakeTest, ABatchIsCommittedWithoutWaitingToBeFull) {
    std::promise<Stored> told;
    Intake intake(writer(), {.batchRecords = 1000000},
                  [&](Stored records) { told.set_value(std::move(records)); });
    intake.add(intake.addSource("a"), some(7, 2), WhenFull::wait);
    const Stored records = told.get_future().get();
    ASSERT_EQ(records->size(), 2u);
    EXPECT_EQ((*records)[1].sequence, 2u);
    EXPECT_EQ((*records)[1].record, numbered(8, 8));
    // A streamed record is found by every later request, and counted.
    EXPECT_THAT(numbers(0, kEver), ElementsAre(8, 7));
    EXPECT_EQ(intake.status().stored, 2u);
}

TEST_F(IntakeTest, AFullBatchDoesNotWaitForItsAge) {
    std::promise<void> told;
    Intake intake(writer(), {.batchRecords = 10, .batchAge = kNever},
                  [&](const Stored&) { told.set_value(); });
    const SourceId source = intake.addSource("a");
    intake.add(source, some(0, 9), WhenFull::wait);
    intake.add(source, some(9, 1), WhenFull::wait);
    told.get_future().wait();
}

TEST_F(IntakeTest, DrainingStoresAllThatWasAcceptedInOrder) {
    std::vector<std::uint64_t> sequences;
    Intake intake(writer(), {.batchRecords = 1000, .batchAge = kNever}, [&](const Stored& records) {
        for (const StoredRecord& record : *records)
            sequences.push_back(record.sequence);
    });
    const SourceId source = intake.addSource("a");
    for (std::uint32_t first = 0; first < 2500; first += 100)
        intake.add(source, some(first, 100), WhenFull::wait);
    ASSERT_TRUE(intake.drain());
    std::vector<std::uint32_t> expected(2500);
    std::iota(expected.rbegin(), expected.rend(), 0u);
    EXPECT_EQ(numbers(0, kEver), expected);
    std::vector<std::uint64_t> inOrder(2500);
    std::iota(inOrder.begin(), inOrder.end(), 1u);
    EXPECT_EQ(sequences, inOrder);

    intake.add(source, some(9000, 3), WhenFull::wait);
    EXPECT_THAT(intake.status().lost, ElementsAre(Pair("stopped", 3)));
    expectBalanced(intake.status());
}

TEST_F(IntakeTest, AFullQueueDropsTheNewestAndCountsThem) {
    Gate gate;
    Intake intake(writer(), {.queueRecords = 100, .batchRecords = 10, .batchAge = kNever},
                  [&, first = true](const Stored&) mutable {
                      if (std::exchange(first, false))
                          gate.pass();
                  });
    const SourceId device = intake.addSource("device");
    const SourceId other = intake.addSource("other");
    intake.add(device, some(0, 10), WhenFull::drop);
    gate.waitUntilEntered();
    intake.add(device, some(10, 70), WhenFull::drop);
    intake.add(device, some(80, 50), WhenFull::drop); // room for 30 of them
    intake.add(other, some(500, 5), WhenFull::drop);
    intake.countLost(other, "cut short", 4);
    expectBalanced(intake.status()); // with records under way
    gate.open();
    ASSERT_TRUE(intake.drain());

    const DaemonStatus status = intake.status();
    ASSERT_EQ(status.sources.size(), 2u);
    EXPECT_EQ(status.sources[0].name, "device");
    EXPECT_EQ(status.sources[0].received, 130u);
    EXPECT_EQ(status.sources[0].stored, 110u);
    EXPECT_THAT(status.sources[0].lost, ElementsAre(Pair("queue full", 20)));
    EXPECT_EQ(status.sources[1].received, 9u);
    EXPECT_EQ(status.sources[1].stored, 0u);
    EXPECT_THAT(status.lost, ElementsAre(Pair("cut short", 4), Pair("queue full", 25)));
    expectBalanced(status);
    EXPECT_EQ(figures().rows, 110u);
}

TEST_F(IntakeTest, AFileWaitsForRoomAndLosesNothing) {
    Gate gate;
    Intake intake(writer(), {.queueRecords = 20, .batchRecords = 10, .batchAge = kNever},
                  [&, first = true](const Stored&) mutable {
                      if (std::exchange(first, false))
                          gate.pass();
                  });
    const SourceId source = intake.addSource("file");
    intake.add(source, some(0, 10), WhenFull::wait);
    gate.waitUntilEntered();
    std::thread file([&] {
        intake.add(source, some(10, 15), WhenFull::wait);
        intake.add(source, some(25, 15), WhenFull::wait); // waits
        intake.add(source, some(40, 60), WhenFull::wait); // more than the queue holds
    });
    gate.open();
    file.join();
    ASSERT_TRUE(intake.drain());
    EXPECT_EQ(figures().rows, 100u);
    EXPECT_TRUE(intake.status().lost.empty());
}

TEST_F(IntakeTest, ADiskThatRefusesIsCountedAndIntakeGoesOn) {
    Intake intake(writer(), {.batchRecords = 5, .batchAge = kNever});
    const SourceId source = intake.addSource("a");
    sqlite::Connection other(path, sqlite::Access::readWrite);
    other.execute("CREATE TRIGGER full BEFORE INSERT ON records WHEN new.uid = 3 "
                  "BEGIN SELECT RAISE(ABORT, 'disk full'); END");
    intake.add(source, some(0, 5), WhenFull::wait);
    intake.add(source, some(10, 5), WhenFull::wait);
    ASSERT_TRUE(intake.drain());
    const DaemonStatus status = intake.status();
    EXPECT_EQ(status.stored, 5u);
    EXPECT_THAT(status.lost, ElementsAre(Pair("store", 5)));
    expectBalanced(status);
    EXPECT_THAT(numbers(0, kEver), ElementsAre(14, 13, 12, 11, 10));
}

TEST_F(IntakeTest, ASourceGoesOnWhereItsStoredRecordsEnd) {
    {
        Intake intake(writer(), {.batchAge = kNever});
        const SourceId file = intake.addSource("filterlog:/log");
        const SourceId other = intake.addSource("replay:/x");
        EXPECT_EQ(intake.storedPosition(file), "");
        intake.add(file, some(0, 3), WhenFull::wait, "30");
        intake.add(other, some(5, 3), WhenFull::wait);
        intake.add(file, {}, WhenFull::wait, "45"); // lines that are no records
        ASSERT_TRUE(intake.drain());
        EXPECT_EQ(intake.status().received, 6u);
    }
    Intake intake(writer(), {.batchAge = kNever});
    const SourceId other = intake.addSource("replay:/x");
    EXPECT_EQ(intake.storedPosition(other), "");
    EXPECT_EQ(intake.storedPosition(intake.addSource("filterlog:/log")), "45");
}

TEST_F(IntakeTest, PurgingRunsInStepsBesideIntake) {
    Intake intake(writer(), {.batchRecords = 100, .batchAge = kNever, .purgeRecords = 7});
    const SourceId source = intake.addSource("a");
    intake.add(source, some(0, 100), WhenFull::wait);
    std::thread adding([&] {
        for (std::uint32_t first = 1000; first < 5000; first += 100)
            intake.add(source, some(first, 100), WhenFull::wait);
    });
    EXPECT_EQ(intake.purgeBefore(90), 90u);
    EXPECT_EQ(intake.purgeBefore(90), 0u);
    adding.join();
    ASSERT_TRUE(intake.drain());
    EXPECT_EQ(figures().oldest, 90);
    EXPECT_EQ(figures().rows, 4010u);
    EXPECT_THAT(intake.purgeBefore(1000).error(), HasSubstr("stopping"));
}

} // namespace
} // namespace brindle::tallyd
