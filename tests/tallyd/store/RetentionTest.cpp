// SPDX-License-Identifier: BSD-2-Clause
#include "tests/tallyd/store/TallyFixture.h"

#include "tallyd/store/Intake.h"
#include "tallyd/store/StoreFiles.h"

#include <thread>

namespace brindle::tallyd {
namespace {

using RetentionTest = TallyFixture;
using WhenFull = RecordSink::WhenFull;

std::int64_t nowMicros() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::microseconds>(now).count();
}

/// False when that does not come true for a long time.
template <typename Condition>
bool waitUntil(const Condition& condition) {
    for (int tries = 0; tries < 3000; ++tries) {
        if (condition())
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
}

TEST_F(RetentionTest, TheFilesStayUnderTheirLimitBesideAQueryThatNobodyReads) {
    constexpr std::uint64_t kLimit = 20'000'000;
    constexpr std::uint32_t kRecords = 500'000;
    const auto store = open();
    const auto reader = std::move(*store.reader());
    std::unique_ptr<RecordCursor> stuck;
    {
        Intake intake(std::move(*store.writer(StoreUse::live)), {.retention = {.bytes = kLimit}});
        const SourceId source = intake.addSource("a");
        std::uint64_t most = 0;
        for (std::uint32_t first = 0; first < kRecords; first += 1000) {
            std::vector<PacketRecord> records;
            for (std::uint32_t i = first; i < first + 1000; ++i)
                records.push_back(numbered(i, kFirstDay + i));
            intake.add(source, std::move(records), WhenFull::wait);
            if (!stuck && intake.status().stored > 0) {
                stuck = std::move(*reader->openCursor(0, kEver));
                ASSERT_TRUE(*stuck->next());
            }
            most = std::max(most, fileBytes(path) + fileBytes(path + kLogSuffix));
        }
        ASSERT_TRUE(waitUntil([&] { return intake.status().received == kRecords; }));
        EXPECT_EQ(intake.status().stored, kRecords);
        EXPECT_LE(most, kLimit + kLimit / 20);
    }
    // The oldest are gone, and no more than had to.
    const StoreFigures kept = figures();
    EXPECT_LT(kept.rows, kRecords * 3 / 4);
    EXPECT_GT(kept.rows, kRecords / 8);
    EXPECT_EQ(kept.newest, kFirstDay + kRecords - 1);
    EXPECT_EQ(*kept.newest - *kept.oldest + 1, static_cast<std::int64_t>(kept.rows));
    compare(0, "after purging by size");
}

TEST_F(RetentionTest, RecordsGoWhenTheyGetOlderThanTheyMay) {
    constexpr std::int64_t kDay = 86'400'000'000;
    append(*writer(), {numbered(1, nowMicros() - 9 * kDay), numbered(2, nowMicros() - kDay)});
    Intake intake(writer(), {.batchAge = std::chrono::milliseconds(0),
                             .purgeRecords = 10,
                             .retainEvery = std::chrono::milliseconds(20),
                             .retention = {.age = std::chrono::hours(24 * 7)}});
    // What was too old when the daemon began, and what comes too old or gets so later.
    ASSERT_TRUE(waitUntil([&] { return figures().rows == 1; }));
    std::vector<PacketRecord> records;
    for (std::uint32_t i = 0; i < 35; ++i)
        records.push_back(numbered(100 + i, nowMicros() - 8 * kDay));
    records.push_back(numbered(3, nowMicros() - 7 * kDay + 1'000'000));
    records.push_back(numbered(4, nowMicros()));
    intake.add(intake.addSource("late"), std::move(records), WhenFull::wait);
    ASSERT_TRUE(waitUntil([&] { return intake.status().stored == 37 && figures().rows <= 3; }));
    ASSERT_TRUE(waitUntil([&] { return figures().rows == 2; }));
    EXPECT_EQ(numbers(0, kEver), (std::vector<std::uint32_t>{4, 2}));
    EXPECT_TRUE(intake.drain());
}

TEST_F(RetentionTest, AStoreThatMayBeSmallerThanItIsGivesItsFileBack) {
    constexpr std::uint64_t kLimit = 20'000'000;
    {
        const auto filling = writer();
        for (std::uint32_t first = 0; first < 400'000; first += 100'000) {
            std::vector<PacketRecord> records;
            for (std::uint32_t i = first; i < first + 100'000; ++i)
                records.push_back(numbered(i, kFirstDay + i));
            append(*filling, std::move(records));
        }
        ASSERT_TRUE(filling->checkpoint());
    }
    ASSERT_GT(fileBytes(path), kLimit + kLimit / 5);
    Intake intake(std::move(*open().writer(StoreUse::live)), {.retention = {.bytes = kLimit}});
    EXPECT_TRUE(
        waitUntil([&] { return fileBytes(path) + fileBytes(path + kLogSuffix) <= kLimit; }));
    EXPECT_GT(figures().rows, 50'000u);
    EXPECT_EQ(figures().newest, kFirstDay + 399'999);
}

} // namespace
} // namespace brindle::tallyd
