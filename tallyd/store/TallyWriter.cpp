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
/// A day of more entries is not rolled up: what that takes in memory is for other things. Its hours
/// are read instead.
constexpr std::int64_t kMostDayEntries = 8'000'000;
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
      nextRun_(connection, "SELECT hour, run, data FROM tally_runs WHERE flags = ? "
                           "AND (hour, run) > (?, ?) AND hour < ? ORDER BY hour, run LIMIT 1"),
      entries_(connection, "SELECT count(*), coalesce(sum(entries), 0) FROM tally_runs "
                           "WHERE flags = ? AND hour >= ? AND hour < ?"),
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
      unmarkDaysTo_(connection,
                    "DELETE FROM tally_days WHERE flags = ? AND sorted = ? AND day <= ?"),
      deleteCounts_(connection,
                    "DELETE FROM tally_day_counts WHERE flags = ? AND sorted = ? AND day = ?"),
      deleteCountsTo_(connection,
                      "DELETE FROM tally_day_counts WHERE flags = ? AND sorted = ? AND day <= ?"),
      dataVersion_(connection, "PRAGMA data_version"),
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
            forgetDaysTo(flags, order, dayOfHour(border));
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
    const bool underWay =
        rollUp_ && rollUp_->flags() == flags && rollUp_->order() == order && rollUp_->day() == day;
    if (underWay)
        rollUp_.reset();
    runForDay(unmarkDay_, flags, order, day);
    if (underWay || connection_.changes() != 0)
        runForDay(deleteCounts_, flags, order, day);
}

void TallyWriter::forgetDaysTo(int flags, TallyOrder order, std::int64_t day) {
    if (rollUp_ && rollUp_->day() <= day)
        rollUp_.reset();
    runForDay(unmarkDaysTo_, flags, order, day);
    runForDay(deleteCountsTo_, flags, order, day);
}

void TallyWriter::runForDay(sqlite::Statement& statement, int flags, TallyOrder order,
                            std::int64_t day) {
    statement.bind(1, flags);
    statement.bind(2, static_cast<std::int64_t>(order));
    statement.bind(3, day);
    statement.run();
}

bool TallyWriter::rollUpDay(std::int64_t nowMicros, std::size_t mostEntries) {
    // An import may run beside the daemon: what it stored may belong to the day, and more may come.
    const std::int64_t version = dataVersion();
    if (rollUp_ && version != rollUpVersion_) {
        rollUp_.reset();
        return false;
    }
    if (!rollUp_) {
        if (!beginRollUp(nowMicros, mostEntries))
            return false;
        rollUpVersion_ = version;
    }
    for (std::size_t done = 0; rollUp_ && done < mostEntries;)
        done += rollUpStep(mostEntries - done);
    return true;
}

bool TallyWriter::beginRollUp(std::int64_t nowMicros, std::size_t mostEntries) {
    const std::int64_t settled = hourOf(nowMicros - kSettlingMicros);
    for (int flags = 0; flags < kFlagsValues; ++flags) {
        auto hour = nextHour(flags, std::numeric_limits<std::int64_t>::min());
        for (; hour && (dayOfHour(*hour) + 1) * kHoursADay <= settled;
             hour = nextHour(flags, (dayOfHour(*hour) + 1) * kHoursADay)) {
            const std::int64_t day = dayOfHour(*hour);
            for (const TallyOrder order : kTallyOrders) {
                if (isRolledUp(flags, order, day))
                    continue;
                if (extentOf(flags, day * kHoursADay, kHoursADay).entries > kMostDayEntries)
                    break;
                // Whoever began it before may not have come to its end.
                runForDay(deleteCounts_, flags, order, day);
                rollUp_.emplace(flags, order, day, std::min(DayRollUp::kChunkEntries, mostEntries));
                lastRead_ = {day * kHoursADay - 1, std::numeric_limits<std::int64_t>::max()};
                return true;
            }
        }
    }
    return false;
}

/// How many entries were worked on, one at least.
std::size_t TallyWriter::rollUpStep(std::size_t mostEntries) {
    if (const auto added = addNextRun())
        return std::max<std::size_t>(*added, 1);
    const std::size_t merged =
        rollUp_->merge(mostEntries, [this](const TallyKey& first, const TallyRun& chunk) {
            insertCounts_.bind(1, rollUp_->flags());
            insertCounts_.bind(2, static_cast<std::int64_t>(rollUp_->order()));
            insertCounts_.bind(3, rollUp_->day());
            insertCounts_.bindBytes(4, first.bytes());
            insertCounts_.bindBytes(5, chunk.data);
            insertCounts_.run();
        });
    if (rollUp_->isMerged()) {
        runForDay(markDay_, rollUp_->flags(), rollUp_->order(), rollUp_->day());
        rollUp_.reset();
    }
    return std::max<std::size_t>(merged, 1);
}

/// The number of its entries; nothing when all of the day's runs were added.
std::optional<std::size_t> TallyWriter::addNextRun() {
    for (;;) {
        std::int64_t hour = 0;
        {
            sqlite::StatementReset reset(nextRun_);
            nextRun_.bind(1, rollUp_->flags());
            nextRun_.bind(2, lastRead_.first);
            nextRun_.bind(3, lastRead_.second);
            nextRun_.bind(4, (rollUp_->day() + 1) * kHoursADay);
            if (!nextRun_.step())
                return std::nullopt;
            hour = nextRun_.integer(0);
            if (hour == lastRead_.first) {
                lastRead_.second = nextRun_.integer(1);
                return rollUp_->add(nextRun_.bytes(2));
            }
        }
        lastRead_ = {hour, std::numeric_limits<std::int64_t>::min()};
        compactHour({rollUp_->flags(), hour});
    }
}

std::int64_t TallyWriter::dataVersion() {
    sqlite::StatementReset reset(dataVersion_);
    return dataVersion_.step() ? dataVersion_.integer(0) : 0;
}

TallyWriter::Extent TallyWriter::extentOf(int flags, std::int64_t firstHour, std::int64_t hours) {
    sqlite::StatementReset reset(entries_);
    entries_.bind(1, flags);
    entries_.bind(2, firstHour);
    entries_.bind(3, firstHour + hours);
    entries_.step();
    return {.runs = entries_.integer(0), .entries = entries_.integer(1)};
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

/// What runs tell apart, and what some take back, is done with once the hour is over.
void TallyWriter::compactHour(const Hour& hour) {
    const Extent extent = extentOf(hour.first, hour.second, 1);
    if (extent.runs < 2 || extent.entries > static_cast<std::int64_t>(kMostRewrittenEntries))
        return;
    const TallyRun whole = mergeRuns(runsOf(hour));
    // What is purged from a run writes it anew: it stays of a size for that.
    if (whole.entries > kMostMergedEntries)
        return;
    const std::int64_t number = runNumbers(hour).back();
    deleteHour_.bind(1, hour.first);
    deleteHour_.bind(2, hour.second);
    deleteHour_.run();
    insertRun(hour, number, whole);
}

} // namespace brindle::tallyd
