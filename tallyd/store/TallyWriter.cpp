// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/store/TallyWriter.h"

#include <algorithm>
#include <limits>
#include <tuple>
#include <utility>

namespace brindle::tallyd {

namespace {

/// A commit makes no run of more entries than this out of smaller ones: it is not to be held up.
constexpr std::size_t kMostMergedEntries = 16384;
/// Nor does a purge write more anew than this. Records that came in the order of their times are
/// counted by a few runs; only where they lie in many may this be too little.
constexpr std::size_t kMostRewrittenEntries = 16 * kMostMergedEntries;
/// Entries of a day's counts in one chunk: what is read to find one key.
constexpr std::size_t kChunkEntries = 2048;
/// Records that are in none of an hour's runs by their numbers.
constexpr std::int64_t kNoRun = -1;
/// A day is left alone for a while after its end: its last records may be on their way.
constexpr std::int64_t kSettlingMicros = 600'000'000;
/// How many entries of hours are held while everything is counted anew.
constexpr std::size_t kMostSortedRecords = 1'000'000;

constexpr bool isOutbound(int flags) {
    return (flags & 2) != 0;
}

} // namespace

TallyWriter::TallyWriter(sqlite::Connection& connection)
    : lastRun_(connection, "SELECT run, entries, data FROM tally_runs "
                           "WHERE flags = ? AND hour = ? ORDER BY run DESC LIMIT 1"),
      hourRuns_(connection, "SELECT data FROM tally_runs WHERE flags = ? AND hour = ?"),
      runNumbers_(connection,
                  "SELECT run FROM tally_runs WHERE flags = ? AND hour = ? ORDER BY run"),
      oneRun_(connection,
              "SELECT entries, data FROM tally_runs WHERE flags = ? AND hour = ? AND run = ?"),
      nextHour_(connection, "SELECT hour FROM tally_runs WHERE flags = ? AND hour >= ? "
                            "ORDER BY hour LIMIT 1"),
      insertRun_(connection, "INSERT INTO tally_runs VALUES (?, ?, ?, ?, ?)"),
      deleteRun_(connection, "DELETE FROM tally_runs WHERE flags = ? AND hour = ? AND run = ?"),
      deleteHour_(connection, "DELETE FROM tally_runs WHERE flags = ? AND hour = ?"),
      deleteHoursBefore_(connection, "DELETE FROM tally_runs WHERE flags = ? AND hour < ?"),
      isRolledUp_(connection,
                  "SELECT 1 FROM tally_days WHERE flags = ? AND sorted = ? AND day = ?"),
      markDay_(connection, "INSERT INTO tally_days VALUES (?, ?, ?)"),
      unmarkDay_(connection, "DELETE FROM tally_days WHERE flags = ? AND sorted = ? AND day = ?"),
      insertCounts_(connection, "INSERT INTO tally_day_counts VALUES (?, ?, ?, ?, ?)"),
      deleteCounts_(connection,
                    "DELETE FROM tally_day_counts WHERE flags = ? AND sorted = ? AND day = ?"),
      firstDay_(connection,
                "SELECT day FROM tally_days WHERE flags = ? AND sorted = ? ORDER BY day LIMIT 1"),
      recordsUpTo_(connection, "SELECT seq, flags, src, dst, dstport FROM records "
                               "WHERE time >= ? AND (time, seq) <= (?, ?)"),
      allRecords_(connection, "SELECT time, flags, src, dst, dstport FROM records "
                              "ORDER BY time, seq"),
      connection_(connection) {}

void TallyWriter::Sorter::add(std::int64_t timeMicros, std::int64_t flags, const IpAddress& src,
                              const IpAddress& dst, std::uint16_t dstport, std::int64_t count) {
    const int index = static_cast<int>(flags & (kFlagsValues - 1));
    const std::int64_t hour = hourOf(timeMicros);
    Last& last = last_[static_cast<std::size_t>(index)];
    if (!last.entries || last.hour != hour)
        last = {hour, &entries[{index, hour}]};
    const bool out = isOutbound(index);
    last.entries->push_back({out ? src : dst, out ? dst : src, dstport, count});
}

void TallyWriter::add(std::span<const std::vector<PacketRecord>> chunks,
                      std::int64_t lastSequence) {
    Sorter sorter;
    for (const auto& chunk : chunks)
        for (const PacketRecord& record : chunk)
            sorter.add(record.timeMicros,
                       (record.action == Action::block ? 1 : 0) |
                           (record.direction == Direction::out ? 2 : 0),
                       record.src, record.dst, record.dstport, 1);
    store(sorter.entries, lastSequence);
}

void TallyWriter::takeBack(std::int64_t timeMicros, std::int64_t sequence) {
    const std::int64_t border = hourOf(timeMicros);
    for (int flags = 0; flags < kFlagsValues; ++flags) {
        deleteHoursBefore_.bind(1, flags);
        deleteHoursBefore_.bind(2, border);
        deleteHoursBefore_.run();
        for (const TallyOrder order : kTallyOrders)
            for (auto day = firstRolledUpDay(flags, order); day && *day <= dayOfHour(border);
                 day = firstRolledUpDay(flags, order))
                forgetDay(flags, order, *day);
    }
    // Of the hour of the last one some may stay.
    std::array<std::vector<std::int64_t>, kFlagsValues> numbers;
    for (int flags = 0; flags < kFlagsValues; ++flags)
        numbers[static_cast<std::size_t>(flags)] = runNumbers({flags, border});
    std::array<std::map<std::int64_t, std::vector<Entry>>, kFlagsValues> parts;
    {
        sqlite::StatementReset reset(recordsUpTo_);
        recordsUpTo_.bind(1, border < hourOf(std::numeric_limits<std::int64_t>::min()) + 1
                                 ? std::numeric_limits<std::int64_t>::min()
                                 : border * kHourMicros);
        recordsUpTo_.bind(2, timeMicros);
        recordsUpTo_.bind(3, sequence);
        while (recordsUpTo_.step()) {
            const auto flags = static_cast<int>(recordsUpTo_.integer(1) & (kFlagsValues - 1));
            const auto index = static_cast<std::size_t>(flags);
            const auto number = std::ranges::lower_bound(numbers[index], recordsUpTo_.integer(0));
            auto& part = parts[index][number == numbers[index].end() ? kNoRun : *number];
            const IpAddress src = IpAddress::fromBytes(recordsUpTo_.bytes(2));
            const IpAddress dst = IpAddress::fromBytes(recordsUpTo_.bytes(3));
            const bool out = isOutbound(flags);
            part.push_back({out ? src : dst, out ? dst : src,
                            static_cast<std::uint16_t>(recordsUpTo_.integer(4)), -1});
        }
    }
    for (int flags = 0; flags < kFlagsValues; ++flags)
        takeOut(flags, border, std::move(parts[static_cast<std::size_t>(flags)]));
}

/// By the numbers of their runs. Any run may be told that records are gone: what matters is the sum
/// of all. But only the run that counted them gets smaller by it.
void TallyWriter::takeOut(int flags, std::int64_t hour,
                          std::map<std::int64_t, std::vector<Entry>> parts) {
    std::vector<Entry> rest;
    std::size_t left = kMostRewrittenEntries;
    for (auto& [number, entries] : parts) {
        const auto rewritten = number == kNoRun
                                   ? std::nullopt
                                   : takeOutOf({flags, hour}, number, sortedRun(entries), left);
        if (rewritten)
            left -= *rewritten;
        else
            rest.insert(rest.end(), entries.begin(), entries.end());
    }
    if (!rest.empty())
        addRun({flags, hour}, 0, sortedRun(rest));
}

std::vector<std::int64_t> TallyWriter::runNumbers(const Hour& hour) {
    std::vector<std::int64_t> numbers;
    sqlite::StatementReset reset(runNumbers_);
    runNumbers_.bind(1, hour.first);
    runNumbers_.bind(2, hour.second);
    while (runNumbers_.step())
        numbers.push_back(runNumbers_.integer(0));
    return numbers;
}

/// How many entries the run had; nothing when they are more than `mostEntries`.
std::optional<std::size_t> TallyWriter::takeOutOf(const Hour& hour, std::int64_t number,
                                                  TallyRun taken, std::size_t mostEntries) {
    std::size_t before = 0;
    std::vector<std::vector<std::uint8_t>> both;
    {
        sqlite::StatementReset reset(oneRun_);
        oneRun_.bind(1, hour.first);
        oneRun_.bind(2, hour.second);
        oneRun_.bind(3, number);
        if (!oneRun_.step())
            return std::nullopt;
        before = static_cast<std::size_t>(oneRun_.integer(0));
        if (before > mostEntries)
            return std::nullopt;
        const auto data = oneRun_.bytes(1);
        both.emplace_back(data.begin(), data.end());
    }
    both.push_back(std::move(taken.data));
    deleteRun_.bind(1, hour.first);
    deleteRun_.bind(2, hour.second);
    deleteRun_.bind(3, number);
    deleteRun_.run();
    insertRun(hour, number, mergeRuns(both));
    return before;
}

void TallyWriter::countAll() {
    Sorter sorter;
    std::size_t held = 0;
    sqlite::StatementReset reset(allRecords_);
    while (allRecords_.step()) {
        sorter.add(allRecords_.integer(0), allRecords_.integer(1),
                   IpAddress::fromBytes(allRecords_.bytes(2)),
                   IpAddress::fromBytes(allRecords_.bytes(3)),
                   static_cast<std::uint16_t>(allRecords_.integer(4)), 1);
        if (++held == kMostSortedRecords) {
            store(sorter.entries, 0);
            sorter = {};
            held = 0;
        }
    }
    store(sorter.entries, 0);
}

TallyRun TallyWriter::sortedRun(std::vector<Entry>& entries) {
    const auto place = [](const Entry& entry) {
        return std::tie(entry.local, entry.remote, entry.port);
    };
    std::ranges::sort(entries, {}, place);
    RunWriter writer;
    for (auto first = entries.begin(); first != entries.end();) {
        std::int64_t count = 0;
        auto next = first;
        for (; next != entries.end() && place(*next) == place(*first); ++next)
            count += next->count;
        writer.add(TallyKey().add(first->local).add(first->remote).add(first->port), count);
        first = next;
    }
    return writer.take();
}

void TallyWriter::store(Entries& entries, std::int64_t lastSequence) {
    for (auto& [hour, list] : entries) {
        addRun(hour, lastSequence, sortedRun(list));
        for (const TallyOrder order : kTallyOrders)
            forgetDay(hour.first, order, dayOfHour(hour.second));
    }
}

/// The run gets the number, or the next one that is free.
void TallyWriter::addRun(const Hour& hour, std::int64_t number, TallyRun run) {
    for (;;) {
        std::int64_t last = 0;
        std::vector<std::vector<std::uint8_t>> both;
        {
            sqlite::StatementReset reset(lastRun_);
            lastRun_.bind(1, hour.first);
            lastRun_.bind(2, hour.second);
            if (!lastRun_.step())
                break;
            last = lastRun_.integer(0);
            const auto entries = static_cast<std::size_t>(lastRun_.integer(1));
            if (entries > 2 * run.entries || entries + run.entries > kMostMergedEntries) {
                number = std::max(number, last + 1);
                break;
            }
            const auto data = lastRun_.bytes(2);
            both.emplace_back(data.begin(), data.end());
        }
        both.push_back(std::move(run.data));
        number = std::max(number, last);
        deleteRun_.bind(1, hour.first);
        deleteRun_.bind(2, hour.second);
        deleteRun_.bind(3, last);
        deleteRun_.run();
        run = mergeRuns(both);
    }
    insertRun(hour, number, run);
}

void TallyWriter::insertRun(const Hour& hour, std::int64_t number, const TallyRun& run) {
    if (run.entries == 0)
        return;
    insertRun_.bind(1, hour.first);
    insertRun_.bind(2, hour.second);
    insertRun_.bind(3, number);
    insertRun_.bind(4, static_cast<std::int64_t>(run.entries));
    insertRun_.bindBytes(5, run.data);
    insertRun_.run();
}

void TallyWriter::forgetDay(int flags, TallyOrder order, std::int64_t day) {
    for (sqlite::Statement* statement : {&unmarkDay_, &deleteCounts_}) {
        statement->bind(1, flags);
        statement->bind(2, static_cast<std::int64_t>(order));
        statement->bind(3, day);
        statement->run();
        if (connection_.changes() == 0)
            return;
    }
}

bool TallyWriter::rollUpDay(std::int64_t nowMicros) {
    const std::int64_t settled = hourOf(nowMicros - kSettlingMicros);
    for (int flags = 0; flags < kFlagsValues; ++flags) {
        auto hour = nextHour(flags, std::numeric_limits<std::int64_t>::min());
        for (; hour && (dayOfHour(*hour) + 1) * kHoursADay <= settled;
             hour = nextHour(flags, (dayOfHour(*hour) + 1) * kHoursADay)) {
            const std::int64_t day = dayOfHour(*hour);
            for (const TallyOrder order : kTallyOrders) {
                if (isRolledUp(flags, order, day))
                    continue;
                rollUp(flags, order, day);
                return true;
            }
        }
    }
    return false;
}

std::optional<std::int64_t> TallyWriter::firstRolledUpDay(int flags, TallyOrder order) {
    sqlite::StatementReset reset(firstDay_);
    firstDay_.bind(1, flags);
    firstDay_.bind(2, static_cast<std::int64_t>(order));
    return firstDay_.step() ? std::optional(firstDay_.integer(0)) : std::nullopt;
}

std::optional<std::int64_t> TallyWriter::nextHour(int flags, std::int64_t from) {
    sqlite::StatementReset reset(nextHour_);
    nextHour_.bind(1, flags);
    nextHour_.bind(2, from);
    return nextHour_.step() ? std::optional(nextHour_.integer(0)) : std::nullopt;
}

bool TallyWriter::isRolledUp(int flags, TallyOrder order, std::int64_t day) {
    sqlite::StatementReset reset(isRolledUp_);
    isRolledUp_.bind(1, flags);
    isRolledUp_.bind(2, static_cast<std::int64_t>(order));
    isRolledUp_.bind(3, day);
    return isRolledUp_.step();
}

std::vector<std::vector<std::uint8_t>> TallyWriter::runsOf(const Hour& hour) {
    std::vector<std::vector<std::uint8_t>> runs;
    sqlite::StatementReset reset(hourRuns_);
    hourRuns_.bind(1, hour.first);
    hourRuns_.bind(2, hour.second);
    while (hourRuns_.step()) {
        const auto data = hourRuns_.bytes(0);
        runs.emplace_back(data.begin(), data.end());
    }
    return runs;
}

TallyRun TallyWriter::wholeHour(const Hour& hour) {
    auto runs = runsOf(hour);
    if (runs.empty())
        return {};
    if (runs.size() == 1)
        return {.data = std::move(runs[0])};
    TallyRun whole = mergeRuns(runs);
    // What is purged from a run writes it anew: it stays of a size for that.
    if (whole.entries > kMostMergedEntries)
        return whole;
    // What runs tell apart, and what some take back, is done with once the hour is over.
    const std::int64_t number = runNumbers(hour).back();
    deleteHour_.bind(1, hour.first);
    deleteHour_.bind(2, hour.second);
    deleteHour_.run();
    insertRun(hour, number, whole);
    return whole;
}

void TallyWriter::rollUp(int flags, TallyOrder order, std::int64_t day) {
    Counts counts;
    const auto add = [&counts](const TallyKey& key, std::int64_t count) {
        if (!counts.empty() && counts.back().first == key)
            counts.back().second += count;
        else
            counts.emplace_back(key, count);
    };
    for (std::int64_t number = 0; number < kHoursADay; ++number) {
        const TallyRun hour = wholeHour({flags, day * kHoursADay + number});
        for (RunReader reader(hour.data); reader.next();) {
            TallyKeyParts parts(reader.key().bytes());
            const IpAddress local = parts.address();
            const IpAddress remote = parts.address();
            const std::uint16_t port = parts.port();
            switch (order) {
            case TallyOrder::remote:
                add(TallyKey().add(remote), reader.count());
                break;
            case TallyOrder::local:
                add(TallyKey().add(local), reader.count());
                break;
            case TallyOrder::port:
                add(TallyKey().add(port), reader.count());
                break;
            case TallyOrder::remotePort:
                add(TallyKey().add(remote).add(port), reader.count());
                break;
            case TallyOrder::portRemote:
                add(TallyKey().add(port).add(remote), reader.count());
                break;
            }
        }
    }
    insertCounts(flags, order, day, std::move(counts));
    markDay_.bind(1, flags);
    markDay_.bind(2, static_cast<std::int64_t>(order));
    markDay_.bind(3, day);
    markDay_.run();
}

void TallyWriter::insertCounts(int flags, TallyOrder order, std::int64_t day, Counts counts) {
    std::ranges::sort(counts, {}, [](const auto& entry) -> const TallyKey& { return entry.first; });
    RunWriter writer;
    const TallyKey* first = nullptr;
    const auto finish = [&] {
        const TallyRun chunk = writer.take();
        if (chunk.entries == 0)
            return;
        insertCounts_.bind(1, flags);
        insertCounts_.bind(2, static_cast<std::int64_t>(order));
        insertCounts_.bind(3, day);
        insertCounts_.bindBytes(4, first->bytes());
        insertCounts_.bindBytes(5, chunk.data);
        insertCounts_.run();
    };
    const TallyKey* previous = nullptr;
    for (const auto& [key, count] : counts) {
        // Equal keys stay together, in one chunk.
        if (writer.entries() >= kChunkEntries && key != *previous) {
            finish();
            first = nullptr;
        }
        if (!first)
            first = &key;
        writer.add(key, count);
        previous = &key;
    }
    finish();
}

} // namespace brindle::tallyd
