// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/store/Sqlite.h"
#include "tallyd/store/TallyRun.h"
#include "tests/tallyd/store/TallyFixture.h"

#include <map>

namespace brindle::tallyd {
namespace {

using TallyTest = TallyFixture;

constexpr std::size_t kEntries = 65536;

TEST_F(TallyTest, CountsEqualPlainCountingThroughLateRecordsPurgesRollUpsAndRestarts) {
    auto writer = this->writer();
    std::int64_t now = kFirstDay + 5 * kHourMicros;
    std::int64_t purgedUpTo = kFirstDay;
    for (int step = 0; step < 80; ++step) {
        std::string when = fmt::format("step {}", step);
        const auto kind = pick(12);
        if (kind < 7) {
            std::vector<PacketRecord> records;
            const std::int64_t next = now + pick(5 * kHourMicros);
            for (auto count = pick(kind == 0 ? 4000 : 80) + 1; count > 0; --count)
                records.push_back(randomRecord(pick(20) ? now : purgedUpTo - kDayMicros, next + 1));
            // An import may store beside the daemon.
            append(pick(4) ? *writer : *this->writer(), std::move(records));
            now = next;
        } else if (kind < 9) {
            // As a rule it stays somewhere in the middle.
            when += ", rolled up";
            for (auto steps = pick(60);
                 steps > 0 && *writer->rollUpDay(now, static_cast<std::size_t>(pick(100)) + 1);)
                --steps;
        } else if (kind == 9) {
            purgedUpTo += pick(now - purgedUpTo) / 4;
            when += fmt::format(", purged before {}", purgedUpTo);
            while (*writer->purgeBefore(purgedUpTo, 70) == 70)
                ;
        } else if (kind == 10) {
            writer = this->writer();
        }
        if (step % 4 != 0 && kind != 7 && kind != 8)
            continue;
        const std::int64_t hour = hourOf(kFirstDay + pick(now - kFirstDay)) * kHourMicros;
        const std::int64_t day = kFirstDay + pick(5) * kDayMicros;
        for (const std::int64_t from :
             {std::numeric_limits<std::int64_t>::min(), hour + 1, hour, pick(2) ? day : day - 1})
            ASSERT_NO_FATAL_FAILURE(compare(from, when));
    }
    while (*writer->purgeBefore(kEver, 5000) == 5000)
        ;
    compare(0, "purged whole");
    const auto reader = std::move(*open().reader());
    EXPECT_TRUE(reader->count(kEver, {})->entries.empty());
}

TEST_F(TallyTest, ADayIsRolledUpOnceItIsOverAndAgainAfterALateRecord) {
    const auto writer = this->writer();
    const auto record = [&](std::int64_t time) {
        PacketRecord made = numbered(1, time);
        made.action = Action::block;
        return made;
    };
    append(*writer, {record(kFirstDay), record(kFirstDay + kDayMicros)});
    EXPECT_FALSE(*writer->rollUpDay(kFirstDay + kDayMicros, kEntries))
        << "its last records may be on their way";
    const auto rollUp = [&] {
        bool any = false;
        while (*writer->rollUpDay(kFirstDay + kDayMicros + kHourMicros, kEntries))
            any = true;
        return any;
    };
    EXPECT_TRUE(rollUp());
    EXPECT_FALSE(rollUp());

    // From now on the day is read, not its hours.
    const TallyQuestion question{.action = Action::block};
    const auto reader = std::move(*open().reader());
    sqlite::Connection raw(path, sqlite::Access::readWrite);
    raw.execute("UPDATE tally_runs SET data = x'ff' WHERE hour < 19676 * 24");
    EXPECT_EQ(reader->count(kFirstDay, question)->entries.at(0).value, 2);
    const auto damaged = reader->count(kFirstDay - kHourMicros, {.direction = Direction::out});
    EXPECT_TRUE(damaged.has_value()) << damaged.error();
    raw.execute("DELETE FROM tally_days");
    EXPECT_FALSE(reader->count(kFirstDay, question).has_value()) << "a damaged tally is no answer";
    raw.execute("DELETE FROM tally_runs WHERE hour < 19676 * 24");
    raw.execute("DELETE FROM tally_day_counts");

    append(*writer, {record(kFirstDay + 1)});
    EXPECT_EQ(reader->count(kFirstDay, question)->entries.at(0).value, 2);
    EXPECT_TRUE(rollUp());
    append(*writer, {record(kFirstDay + 2)});
    EXPECT_EQ(reader->count(kFirstDay, question)->entries.at(0).value, 3);
    EXPECT_TRUE(rollUp());
    EXPECT_EQ(reader->count(kFirstDay, question)->entries.at(0).value, 3);
}

TEST_F(TallyTest, ARollUpInTheMiddleOfWhichTheDayChangesIsBegunAnew) {
    auto writer = this->writer();
    const std::int64_t now = kFirstDay + 2 * kDayMicros;
    const auto late = [&](std::size_t count) {
        std::vector<PacketRecord> records;
        while (records.size() < count)
            records.push_back(randomRecord(kFirstDay, kFirstDay + kDayMicros));
        return records;
    };
    append(*writer, late(300));
    for (int steps = 1; steps < 25; steps += 3) {
        const auto entries = static_cast<std::size_t>(steps);
        for (int kind = 0; kind < 4; ++kind) {
            append(*writer, late(1)); // there is something to roll up
            for (int step = 0; step < steps; ++step)
                ASSERT_TRUE(writer->rollUpDay(now, 16));
            if (kind == 0)
                append(*writer, late(3));
            else if (kind == 1)
                append(*this->writer(), late(3)); // as an import beside the daemon does
            else if (kind == 2)
                ASSERT_TRUE(writer->purgeBefore(kEver, 2));
            else
                writer = this->writer();
            const std::string when = fmt::format("kind {} after {} steps", kind, steps);
            ASSERT_NO_FATAL_FAILURE(compare(kFirstDay, when));
            // Another writer's records put it off once.
            for (int times = 0; times < 2; ++times) {
                auto more = writer->rollUpDay(now, entries);
                while (more.value_or(false))
                    more = writer->rollUpDay(now, entries);
                ASSERT_TRUE(more) << more.error();
            }
            ASSERT_NO_FATAL_FAILURE(compare(kFirstDay, when + ", then rolled up"));
        }
    }
}

TEST_F(TallyTest, AStoreWithoutTalliesIsCountedWhenItIsOpened) {
    std::vector<PacketRecord> records;
    for (int number = 0; number < 3000; ++number)
        records.push_back(randomRecord(kFirstDay, kFirstDay + 2 * kDayMicros));
    append(*writer(), records);
    {
        sqlite::Connection raw(path, sqlite::Access::readWrite);
        for (const char* table : {"tally_runs", "tally_days", "tally_day_counts"})
            raw.execute(fmt::format("DROP TABLE {}", table));
        raw.execute("PRAGMA user_version = 1");
    }
    compare(kFirstDay + kHourMicros / 2, "migrated");
    append(*writer(), records);
    compare(kFirstDay, "and added to");
}

TEST_F(TallyTest, RunsOfAnyKeysComeBackAndAddUp) {
    for (int round = 0; round < 50; ++round) {
        std::map<TallyKey, std::int64_t> expected;
        std::vector<std::vector<std::uint8_t>> runs;
        for (auto count = pick(5); count >= 0; --count) {
            std::map<TallyKey, std::int64_t> one;
            for (auto entries = pick(200); entries > 0; --entries)
                one[TallyKey()
                        .add(randomAddress())
                        .add(randomAddress())
                        .add(static_cast<std::uint16_t>(pick(3) * 30000))] +=
                    pick(2) ? pick(5) - 2 : std::numeric_limits<std::int32_t>::min() * pick(9);
            RunWriter writer;
            for (const auto& [key, value] : one) {
                writer.add(key, value);
                expected[key] += value;
            }
            runs.push_back(writer.take().data);
        }
        std::erase_if(expected, [](const auto& entry) { return entry.second == 0; });
        const TallyRun merged = mergeRuns(runs);
        EXPECT_EQ(merged.entries, expected.size());
        auto next = expected.begin();
        for (RunReader reader(merged.data); reader.next(); ++next) {
            ASSERT_NE(next, expected.end());
            ASSERT_EQ(reader.key(), next->first);
            ASSERT_EQ(reader.count(), next->second);
        }
        EXPECT_EQ(next, expected.end());
        // Cut anywhere, it is read up to there or refused.
        if (!merged.data.empty()) {
            const auto cut = std::span(merged.data)
                                 .first(static_cast<std::size_t>(
                                     pick(static_cast<std::int64_t>(merged.data.size()))));
            try {
                for (RunReader reader(cut); reader.next();)
                    ASSERT_TRUE(expected.contains(reader.key()));
            } catch (const sqlite::Error&) {
            }
        }
    }
}

} // namespace
} // namespace brindle::tallyd
