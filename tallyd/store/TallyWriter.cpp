// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/store/TallyWriter.h"

#include "tallyd/store/TallySchema.h"

#include <algorithm>
#include <limits>
#include <tuple>
#include <utility>

namespace brindle::tallyd {

namespace {

/// A commit makes no run of more entries than this out of smaller ones: it is not to be held up.
constexpr std::size_t kMostMergedEntries = 65536;
/// Entries of a day's counts in one chunk: what is read to find one key.
constexpr std::size_t kChunkEntries = 2048;
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
      nextHour_(connection, "SELECT hour FROM tally_runs WHERE flags = ? AND hour >= ? "
                            "ORDER BY hour LIMIT 1"),
      insertRun_(connection, "INSERT INTO tally_runs VALUES (?, ?, ?, ?, ?)"),
      deleteRun_(connection, "DELETE FROM tally_runs WHERE flags = ? AND hour = ? AND run = ?"),
      deleteHour_(connection, "DELETE FROM tally_runs WHERE flags = ? AND hour = ?"),
      deleteHoursBefore_(connection, "DELETE FROM tally_runs WHERE flags = ? AND hour < ?"),
      isRolledUp_(connection, "SELECT 1 FROM tally_days WHERE flags = ? AND day = ?"),
      markDay_(connection, "INSERT INTO tally_days VALUES (?, ?)"),
      unmarkDay_(connection, "DELETE FROM tally_days WHERE flags = ? AND day = ?"),
      insertCounts_(connection, "INSERT INTO tally_day_counts VALUES (?, ?, ?, ?, ?)"),
      deleteCounts_(connection,
                    "DELETE FROM tally_day_counts WHERE flags = ? AND sorted = ? AND day = ?"),
      firstDay_(connection, "SELECT day FROM tally_days WHERE flags = ? ORDER BY day LIMIT 1"),
      recordsUpTo_(connection, "SELECT time, flags, src, dst, dstport FROM records "
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

void TallyWriter::add(std::span<const std::vector<PacketRecord>> chunks) {
    Sorter sorter;
    for (const auto& chunk : chunks)
        for (const PacketRecord& record : chunk)
            sorter.add(record.timeMicros,
                       (record.action == Action::block ? 1 : 0) |
                           (record.direction == Direction::out ? 2 : 0),
                       record.src, record.dst, record.dstport, 1);
    store(sorter.entries);
}

void TallyWriter::takeBack(std::int64_t timeMicros, std::int64_t sequence) {
    const std::int64_t border = hourOf(timeMicros);
    for (int flags = 0; flags < kFlagsValues; ++flags) {
        deleteHoursBefore_.bind(1, flags);
        deleteHoursBefore_.bind(2, border);
        deleteHoursBefore_.run();
        for (auto day = firstRolledUpDay(flags); day && *day <= dayOfHour(border);
             day = firstRolledUpDay(flags))
            forgetDay(flags, *day);
    }
    // Of the hour of the last one some may stay.
    Sorter sorter;
    {
        sqlite::StatementReset reset(recordsUpTo_);
        recordsUpTo_.bind(1, border < hourOf(std::numeric_limits<std::int64_t>::min()) + 1
                                 ? std::numeric_limits<std::int64_t>::min()
                                 : border * kHourMicros);
        recordsUpTo_.bind(2, timeMicros);
        recordsUpTo_.bind(3, sequence);
        while (recordsUpTo_.step())
            sorter.add(recordsUpTo_.integer(0), recordsUpTo_.integer(1),
                       IpAddress::fromBytes(recordsUpTo_.bytes(2)),
                       IpAddress::fromBytes(recordsUpTo_.bytes(3)),
                       static_cast<std::uint16_t>(recordsUpTo_.integer(4)), -1);
    }
    store(sorter.entries);
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
            store(sorter.entries);
            sorter = {};
            held = 0;
        }
    }
    store(sorter.entries);
}

void TallyWriter::store(Entries& entries) {
    const auto place = [](const Entry& entry) {
        return std::tie(entry.local, entry.remote, entry.port);
    };
    for (auto& [hour, list] : entries) {
        std::ranges::sort(list, {}, place);
        RunWriter writer;
        for (auto first = list.begin(); first != list.end();) {
            std::int64_t count = 0;
            auto next = first;
            for (; next != list.end() && place(*next) == place(*first); ++next)
                count += next->count;
            writer.add(TallyKey().add(first->local).add(first->remote).add(first->port), count);
            first = next;
        }
        addRun(hour, writer.take());
        forgetDay(hour.first, dayOfHour(hour.second));
    }
}

void TallyWriter::addRun(const Hour& hour, TallyRun run) {
    std::int64_t number = 0;
    for (;;) {
        std::vector<std::vector<std::uint8_t>> both;
        {
            sqlite::StatementReset reset(lastRun_);
            lastRun_.bind(1, hour.first);
            lastRun_.bind(2, hour.second);
            if (!lastRun_.step())
                break;
            number = lastRun_.integer(0);
            const auto entries = static_cast<std::size_t>(lastRun_.integer(1));
            if (entries > 2 * run.entries || entries + run.entries > kMostMergedEntries) {
                ++number;
                break;
            }
            const auto data = lastRun_.bytes(2);
            both.emplace_back(data.begin(), data.end());
        }
        both.push_back(std::move(run.data));
        deleteRun_.bind(1, hour.first);
        deleteRun_.bind(2, hour.second);
        deleteRun_.bind(3, number);
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

void TallyWriter::forgetDay(int flags, std::int64_t day) {
    unmarkDay_.bind(1, flags);
    unmarkDay_.bind(2, day);
    unmarkDay_.run();
    if (connection_.changes() == 0)
        return;
    for (std::int64_t order = 1; order <= kTallyOrders; ++order) {
        deleteCounts_.bind(1, flags);
        deleteCounts_.bind(2, order);
        deleteCounts_.bind(3, day);
        deleteCounts_.run();
    }
}

bool TallyWriter::rollUpDay(std::int64_t nowMicros) {
    for (int flags = 0; flags < kFlagsValues; ++flags) {
        auto hour = nextHour(flags, std::numeric_limits<std::int64_t>::min());
        while (hour && (dayOfHour(*hour) + 1) * kHoursADay <= hourOf(nowMicros - kSettlingMicros)) {
            const std::int64_t day = dayOfHour(*hour);
            if (!isRolledUp(flags, day)) {
                rollUp(flags, day);
                return true;
            }
            hour = nextHour(flags, (day + 1) * kHoursADay);
        }
    }
    return false;
}

std::optional<std::int64_t> TallyWriter::firstRolledUpDay(int flags) {
    sqlite::StatementReset reset(firstDay_);
    firstDay_.bind(1, flags);
    return firstDay_.step() ? std::optional(firstDay_.integer(0)) : std::nullopt;
}

std::optional<std::int64_t> TallyWriter::nextHour(int flags, std::int64_t from) {
    sqlite::StatementReset reset(nextHour_);
    nextHour_.bind(1, flags);
    nextHour_.bind(2, from);
    return nextHour_.step() ? std::optional(nextHour_.integer(0)) : std::nullopt;
}

bool TallyWriter::isRolledUp(int flags, std::int64_t day) {
    sqlite::StatementReset reset(isRolledUp_);
    isRolledUp_.bind(1, flags);
    isRolledUp_.bind(2, day);
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

void TallyWriter::rollUp(int flags, std::int64_t day) {
    Counts remotePort;
    Counts local;
    for (std::int64_t number = 0; number < kHoursADay; ++number) {
        const Hour hour{flags, day * kHoursADay + number};
        const auto runs = runsOf(hour);
        if (runs.empty())
            continue;
        TallyRun whole;
        if (runs.size() > 1) {
            // What runs tell apart, and what some take back, is done with once the hour is over.
            whole = mergeRuns(runs);
            deleteHour_.bind(1, flags);
            deleteHour_.bind(2, hour.second);
            deleteHour_.run();
            insertRun(hour, 0, whole);
        }
        IpAddress lastLocal;
        std::int64_t ofLocal = 0;
        for (RunReader reader(runs.size() > 1 ? whole.data : runs[0]); reader.next();) {
            TallyKeyParts parts(reader.key().bytes());
            const IpAddress thisLocal = parts.address();
            const IpAddress remote = parts.address();
            remotePort.emplace_back(TallyKey().add(remote).add(parts.port()), reader.count());
            if (thisLocal != lastLocal && ofLocal != 0)
                local.emplace_back(TallyKey().add(lastLocal), std::exchange(ofLocal, 0));
            lastLocal = thisLocal;
            ofLocal += reader.count();
        }
        if (ofLocal != 0)
            local.emplace_back(TallyKey().add(lastLocal), ofLocal);
    }
    Counts remote;
    Counts port;
    Counts portRemote;
    remote.reserve(remotePort.size());
    port.reserve(remotePort.size());
    portRemote.reserve(remotePort.size());
    for (const auto& [key, count] : remotePort) {
        TallyKeyParts parts(key.bytes());
        const IpAddress address = parts.address();
        const std::uint16_t number = parts.port();
        remote.emplace_back(TallyKey().add(address), count);
        port.emplace_back(TallyKey().add(number), count);
        portRemote.emplace_back(TallyKey().add(number).add(address), count);
    }
    const auto insert = [&](TallyOrder order, Counts& counts) {
        insertCounts(flags, static_cast<std::int64_t>(order), day, std::move(counts));
    };
    insert(TallyOrder::remote, remote);
    insert(TallyOrder::local, local);
    insert(TallyOrder::port, port);
    insert(TallyOrder::remotePort, remotePort);
    insert(TallyOrder::portRemote, portRemote);
    markDay_.bind(1, flags);
    markDay_.bind(2, day);
    markDay_.run();
}

void TallyWriter::insertCounts(int flags, std::int64_t order, std::int64_t day, Counts counts) {
    std::ranges::sort(counts, {}, [](const auto& entry) -> const TallyKey& { return entry.first; });
    RunWriter writer;
    const TallyKey* first = nullptr;
    const auto finish = [&] {
        const TallyRun chunk = writer.take();
        if (chunk.entries == 0)
            return;
        insertCounts_.bind(1, flags);
        insertCounts_.bind(2, order);
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
