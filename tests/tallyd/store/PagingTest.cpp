// SPDX-License-Identifier: BSD-2-Clause
#include "tests/tallyd/store/StoreFixture.h"

#include <atomic>
#include <numeric>
#include <set>
#include <thread>

namespace brindle::tallyd {
namespace {

/// Numbers first .. first+count-1, several of them at each time.
std::vector<PacketRecord> run(std::uint32_t first, std::uint32_t count, std::int64_t time) {
    std::vector<PacketRecord> records;
    for (std::uint32_t number = first; number < first + count; ++number)
        records.push_back(numbered(number, time + number / 5));
    return records;
}

using PagingTest = StoreTest;

TEST_F(PagingTest, EachRecordComesOnceAcrossTheBordersOfBatches) {
    // Sizes around the first batch, the sums of the growing ones, and ties across every border.
    std::uint32_t stored = 0;
    const auto store = writer();
    for (const std::uint32_t size : {1u, 255u, 256u, 257u, 1279u, 1280u, 1281u, 5376u, 20000u}) {
        SCOPED_TRACE(size);
        append(*store, run(stored, size - stored, 0));
        stored = size;
        std::vector<std::uint32_t> expected(size);
        std::iota(expected.rbegin(), expected.rend(), 0u);
        EXPECT_EQ(numbers(0, kEver), expected);
    }
}

TEST_F(PagingTest, EachTextStandsOnceInABatch) {
    append(*writer(), run(0, 4000, 0));
    const auto reader = std::move(*open().reader());
    const auto cursor = std::move(*reader->openCursor(0, kEver));
    for (auto batch = *cursor->next(); batch; batch = *cursor->next()) {
        std::set<std::string_view> texts;
        for (std::size_t index = 0; index < batch->textCount(); ++index)
            EXPECT_TRUE(texts.insert(batch->text(static_cast<TextIndex>(index))).second);
    }
}

TEST_F(PagingTest, AQueryAnswersWhatWasStoredWhenItBegan) {
    const auto store = writer();
    append(*store, run(0, 3000, 1000000));
    const auto reader = std::move(*open().reader());
    const auto cursor = std::move(*reader->openCursor(0, kEver));
    auto found = rest(*std::move(*reader->openCursor(kEver, 0)));
    EXPECT_TRUE(found.empty());

    const auto first = *cursor->next();
    for (const RecordRow& row : first->rows())
        found.push_back(row.uid);
    append(*store, run(10000, 3000, 999000)); // older, between and newer than what is still to come
    EXPECT_EQ(store->purgeBefore(1000100, 100000), 500u);
    for (const std::uint32_t number : rest(*cursor))
        found.push_back(number);

    std::vector<std::uint32_t> expected(2500);
    std::iota(expected.rbegin(), expected.rend(), 500u);
    EXPECT_EQ(found, expected);
}

TEST_F(PagingTest, QueriesBesideTheWriterLoseAndRepeatNothing) {
    const auto store = writer();
    append(*store, run(0, 10000, 1000000));
    const auto reader = std::move(*open().reader());
    std::atomic<bool> stop = false;
    std::thread writing([&] {
        std::uint32_t next = 100000;
        for (std::int64_t before = 0; !stop; before += 3, next += 100) {
            append(*store, run(next, 100, 1000000));
            store->purgeBefore(before, 50); // the old records stay
        }
    });
    std::vector<std::thread> readers;
    for (int i = 0; i < 3; ++i)
        readers.emplace_back([&] {
            for (int round = 0; round < 5; ++round) {
                std::vector<std::uint32_t> kept;
                for (const std::uint32_t number : rest(**reader->openCursor(1000000, kEver)))
                    if (number < 100000)
                        kept.push_back(number);
                std::vector<std::uint32_t> expected(10000);
                std::iota(expected.rbegin(), expected.rend(), 0u);
                EXPECT_EQ(kept, expected);
            }
        });
    for (auto& thread : readers)
        thread.join();
    stop = true;
    writing.join();
}

} // namespace
} // namespace brindle::tallyd
