// SPDX-License-Identifier: BSD-2-Clause
//
// Counts from the tallies against plain counting over the records that a query answers.
#include "core/net/NumericTextOrder.h"
#include "tallyd/store/Sqlite.h"
#include "tallyd/store/TallyRun.h"
#include "tallyd/store/TallySchema.h"
#include "tests/tallyd/store/StoreFixture.h"

#include <algorithm>
#include <map>
#include <random>

namespace brindle::tallyd {
namespace {

constexpr std::int64_t kDayMicros = kHoursADay * kHourMicros;
constexpr std::int64_t kFirstDay = 19675 * kDayMicros; // 2023-11-14

class TallyTest : public StoreTest {
  protected:
    using Of = TallyQuestion::Of;

    PacketRecord randomRecord(std::int64_t from, std::int64_t to) {
        PacketRecord record = numbered(1, from + pick(to - from));
        record.action = pick(3) ? Action::block : Action::pass;
        record.direction = pick(4) ? Direction::in : Direction::out;
        record.src = randomAddress();
        record.dst = randomAddress();
        // Some ports are everybody's, so that one has more addresses than a chunk has room for.
        record.dstport = static_cast<std::uint16_t>(pick(2) ? 443 : pick(40) ? pick(300) : 65535);
        return record;
    }

    IpAddress randomAddress() {
        switch (pick(8)) {
        case 0:
            return {};
        case 1:
            return *IpAddress::parse(fmt::format("2001:db8::{:x}", pick(3000)));
        default:
            return *IpAddress::parse(fmt::format("10.0.{}.{}", pick(pick(2) ? 4 : 40), pick(256)));
        }
    }

    std::int64_t pick(std::int64_t below) {
        return std::uniform_int_distribution<std::int64_t>(0, below - 1)(random);
    }

    static std::vector<std::string> told(const CountReply& reply) {
        std::vector<std::string> lines;
        for (const CountEntry& entry : reply.entries)
            lines.push_back(
                fmt::format("{} {} {}{}", entry.value, entry.label, entry.isIP, entry.isPort));
        return lines;
    }

    struct Seen {
        std::string src, dst;
        std::uint16_t port;
        bool blocked, out;
    };
    std::vector<Seen> recordsFrom(std::int64_t from) {
        std::vector<Seen> records;
        const auto reader = std::move(*open().reader());
        const auto cursor = std::move(*reader->openCursor(from, kEver));
        for (auto batch = *cursor->next(); batch; batch = *cursor->next())
            for (const RecordRow& row : batch->rows())
                records.push_back({.src = std::string(batch->text(row.srcip)),
                                   .dst = std::string(batch->text(row.dstip)),
                                   .port = row.dstport,
                                   .blocked = batch->text(row.action) == "block",
                                   .out = batch->text(row.direction) == "out"});
        return records;
    }

    /// The answer as the records give it.
    static std::vector<std::string> counted(const std::vector<Seen>& records,
                                            const TallyQuestion& question) {
        const bool out = question.direction == Direction::out;
        const bool byPort = question.of == Of::ports || question.of == Of::portsOfAddress;
        const bool bySource =
            question.of == Of::sources || (question.of == Of::addressesOfPort && !out);
        const std::string address = question.address.text();
        std::map<std::string, std::int64_t> counts;
        for (const Seen& record : records) {
            if (record.blocked != (question.action == Action::block) || record.out != out)
                continue;
            if (question.of == Of::portsOfAddress && (out ? record.dst : record.src) != address)
                continue;
            if (question.of == Of::addressesOfPort && record.port != question.port)
                continue;
            ++counts[byPort ? std::to_string(record.port) : bySource ? record.src : record.dst];
        }
        std::vector<std::pair<std::string, std::int64_t>> sorted(counts.begin(), counts.end());
        std::ranges::stable_sort(sorted, [](const auto& a, const auto& b) {
            return a.second != b.second ? a.second > b.second : NumericTextLess{}(a.first, b.first);
        });
        std::vector<std::string> lines;
        for (const auto& [label, count] : sorted)
            lines.push_back(fmt::format("{} {} {}{}", count, label, !byPort, byPort));
        return lines;
    }

    void compare(std::int64_t from, const std::string& when) {
        const auto reader = std::move(*open().reader());
        const auto records = recordsFrom(from);
        for (const Action action : {Action::pass, Action::block})
            for (const Direction direction : {Direction::in, Direction::out})
                for (const Of of : {Of::sources, Of::destinations, Of::ports, Of::portsOfAddress,
                                    Of::addressesOfPort}) {
                    const TallyQuestion question{
                        .of = of,
                        .action = action,
                        .direction = direction,
                        .address = randomAddress(),
                        .port =
                            pick(2) ? std::uint16_t{443} : static_cast<std::uint16_t>(pick(300))};
                    const auto reply = reader->count(from, question);
                    ASSERT_TRUE(reply.has_value()) << reply.error();
                    EXPECT_EQ(reply->sequence, figures().lastSequence);
                    const auto answer = told(*reply);
                    const auto expected = counted(records, question);
                    const auto [first, other] = std::ranges::mismatch(answer, expected);
                    ASSERT_TRUE(first == answer.end() && other == expected.end())
                        << when << ", from " << from << ", question " << static_cast<int>(of)
                        << ", flags " << static_cast<int>(action) << static_cast<int>(direction)
                        << ": told \"" << (first == answer.end() ? "nothing" : *first)
                        << "\", counted \"" << (other == expected.end() ? "nothing" : *other)
                        << '"';
                }
    }

    /// Others are tried with --gtest_shuffle and --gtest_random_seed.
    std::mt19937 random{20231114u +
                        static_cast<unsigned>(testing::UnitTest::GetInstance()->random_seed())};
};

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
            append(*writer, std::move(records));
            now = next;
        } else if (kind < 9) {
            when += ", rolled up";
            while (*writer->rollUpDay(now))
                ;
        } else if (kind == 9) {
            purgedUpTo += pick(now - purgedUpTo) / 4;
            when += fmt::format(", purged before {}", purgedUpTo);
            while (*writer->purgeBefore(purgedUpTo, 70) == 70)
                ;
        } else if (kind == 10) {
            writer = this->writer();
        }
        if (step % 4 != 0)
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
    EXPECT_FALSE(*writer->rollUpDay(kFirstDay + kDayMicros))
        << "its last records may be on their way";
    const auto rollUp = [&] {
        bool any = false;
        while (*writer->rollUpDay(kFirstDay + kDayMicros + kHourMicros))
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
