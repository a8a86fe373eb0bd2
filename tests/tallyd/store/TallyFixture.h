// SPDX-License-Identifier: BSD-2-Clause
//
// What the tests of the tallies share: records that are drawn at random, and the comparison of what
// the tallies tell with plain counting over the records that a query answers.
#pragma once

#include "core/net/NumericTextOrder.h"
#include "tallyd/store/TallySchema.h"
#include "tests/tallyd/store/StoreFixture.h"

#include <algorithm>
#include <map>
#include <random>
#include <utility>

namespace brindle::tallyd {

inline constexpr std::int64_t kDayMicros = kHoursADay * kHourMicros;
inline constexpr std::int64_t kFirstDay = 19675 * kDayMicros; // 2023-11-14

class TallyFixture : public StoreTest {
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

} // namespace brindle::tallyd
