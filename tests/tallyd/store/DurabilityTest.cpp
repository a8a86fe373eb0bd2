// SPDX-License-Identifier: BSD-2-Clause
#include "tests/tallyd/store/FaultyDisk.h"
#include "tests/tallyd/store/TallyFixture.h"

#include "tallyd/store/Intake.h"

#include <algorithm>
#include <filesystem>
#include <thread>

namespace brindle::tallyd {
namespace {

using WhenFull = RecordSink::WhenFull;

constexpr const char* kSource = "filterlog:/log";

class DurabilityTest : public TallyFixture {
  protected:
    /// What a query answers and where the source goes on.
    struct Contents {
        std::vector<std::uint32_t> newestFirst;
        std::string position;
        friend bool operator==(const Contents&, const Contents&) = default;
    };

    Contents contentsNow() {
        Contents contents{.newestFirst = numbers(std::numeric_limits<std::int64_t>::min(), kEver),
                          .position = {}};
        const auto positions = writer()->positions();
        if (const auto found = positions->find(kSource); found != positions->end())
            contents.position = found->second;
        return contents;
    }

    /// Records that can be told apart, in the order of their times from `now` on.
    std::vector<PacketRecord> batch(std::uint32_t& number, std::int64_t& now) {
        std::vector<PacketRecord> records;
        for (auto count = pick(40) + 1; count > 0; --count) {
            now += 1 + pick(200'000'000);
            records.push_back(randomRecord(now, now + 1));
            records.back().uid = number++;
        }
        return records;
    }

    std::string integrity() {
        sqlite::Connection connection(path, sqlite::Access::read);
        sqlite::Statement check(connection, "PRAGMA integrity_check");
        return check.step() ? std::string(check.text(0)) : std::string();
    }
};

TEST_F(DurabilityTest, AfterAPowerCutAtAnyWriteTheStoreHoldsWhatWasCommitted) {
    std::vector<FaultyDisk::Image> pictures; // the last ones are taken when the writer closes
    const std::string disk = folder.file("disk/");
    std::filesystem::create_directory(disk);
    FaultyDisk faulty(disk);
    const std::string storePath = path = disk + "store.db";
    const auto writer = std::move(*open().writer(StoreUse::live));

    // The last state that is certain, and those after it: what is deleted need not be on the disk.
    std::vector<Contents> states(1);
    constexpr std::size_t kEvery = 8;
    faulty.onWrite([&, writes = std::size_t{0}]() mutable {
        if (++writes % kEvery != 0)
            return;
        const FaultyDisk::Cut cuts[]{FaultyDisk::Cut::lostAll, FaultyDisk::Cut::keptSome,
                                     FaultyDisk::Cut::keptBeginning};
        pictures.push_back(faulty.afterPowerCut(cuts[random() % 3], random));
    });

    std::uint32_t number = 0;
    std::int64_t now = kFirstDay;
    std::size_t verified = 0;
    for (int step = 0; step < 90; ++step) {
        Contents next = states.back();
        const auto kind = pick(10);
        const bool append = kind < 5;
        if (append) {
            const std::vector<std::vector<PacketRecord>> chunks{batch(number, now)};
            for (const PacketRecord& record : chunks[0])
                next.newestFirst.insert(next.newestFirst.begin(), record.uid);
            next.position = std::to_string(number);
            ASSERT_TRUE(writer->append(chunks, {{kSource, next.position}}));
        } else if (kind == 5) {
            const auto count = static_cast<std::size_t>(pick(50)) + 1;
            next.newestFirst.resize(next.newestFirst.size() - *writer->purgeBefore(kEver, count));
        } else if (kind == 6) {
            ASSERT_TRUE(writer->rollUpDay(now, static_cast<std::size_t>(pick(400)) + 1));
        } else if (kind == 7) {
            ASSERT_TRUE(writer->shrink(4, 0));
        } else {
            ASSERT_TRUE(writer->checkpointStep());
        }
        for (const FaultyDisk::Image& picture : pictures) {
            path = folder.file("after/store.db");
            std::filesystem::create_directory(folder.file("after"));
            for (const auto& [file, bytes] : picture)
                std::ofstream(folder.file("after/" + file.substr(disk.size())), std::ios::binary)
                    << bytes;
            const auto found = contentsNow();
            ASSERT_TRUE(found == next || std::ranges::find(states, found) != states.end())
                << "step " << step << ", records: " << found.newestFirst.size() << " instead of "
                << next.newestFirst.size() << " or " << states.back().newestFirst.size();
            ASSERT_NO_FATAL_FAILURE(compare(kFirstDay + pick(now - kFirstDay + 1), "power cut"));
            EXPECT_EQ(integrity(), "ok");
            std::filesystem::remove_all(folder.file("after"));
            ++verified;
        }
        path = storePath;
        pictures.clear();
        if (append)
            states.clear();
        states.push_back(std::move(next));
    }
    EXPECT_GT(verified, 40u);
    RecordProperty("verified", std::to_string(verified));
    EXPECT_EQ(contentsNow(), states.back());
}

TEST_F(DurabilityTest, OnAFullDiskRecordsAreCountedAndDeletingMakesRoomForMore) {
    const std::string disk = folder.file("disk/");
    std::filesystem::create_directory(disk);
    FaultyDisk faulty(disk);
    path = disk + "store.db";
    const auto store = open();
    Intake intake(std::move(*store.writer(StoreUse::live)),
                  {.batchAge = std::chrono::milliseconds(0)});
    const SourceId source = intake.addSource(kSource);
    std::uint32_t number = 0;
    std::int64_t now = kFirstDay;
    std::string lastStored;
    const auto addSome = [&] {
        std::vector<PacketRecord> records;
        for (int i = 0; i < 25; ++i)
            for (PacketRecord& record : batch(number, now))
                records.push_back(std::move(record));
        const auto before = intake.status();
        const std::size_t count = records.size();
        intake.add(source, std::move(records), WhenFull::wait, std::to_string(number));
        DaemonStatus after = intake.status();
        while (after.received < before.received + count) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            after = intake.status();
        }
        if (after.stored == before.stored + count)
            lastStored = std::to_string(number);
        else
            EXPECT_EQ(after.stored, before.stored) << "a batch is stored whole or not at all";
        EXPECT_EQ(after.received,
                  after.stored + (after.lost.contains("store") ? after.lost.at("store") : 0));
        return after.stored > before.stored;
    };
    const auto expectSound = [&] {
        EXPECT_EQ(integrity(), "ok");
        EXPECT_EQ(contentsNow().position, lastStored);
        EXPECT_EQ(figures().rows, numbers(0, kEver).size());
        compare(kFirstDay + pick(now - kFirstDay), "on a full disk");
    };
    ASSERT_TRUE(addSome());

    // From here on the files stay as long as they are, but for a little.
    faulty.setRoom(faulty.used() + 300'000);
    int stored = 0;
    while (addSome())
        ASSERT_LT(++stored, 1000) << "the disk does not get full";
    EXPECT_FALSE(addSome());
    expectSound();

    // Deleting needs no more of the disk, and makes room in the files as they are.
    const auto purged = intake.purgeBefore(now - (now - kFirstDay) / 3);
    ASSERT_TRUE(purged.has_value()) << purged.error();
    EXPECT_GT(*purged, 0u);
    EXPECT_TRUE(addSome());
    expectSound();

    while (addSome())
        ;
    faulty.setRoom(std::numeric_limits<std::uint64_t>::max());
    EXPECT_TRUE(addSome());
    expectSound();
}

} // namespace
} // namespace brindle::tallyd
