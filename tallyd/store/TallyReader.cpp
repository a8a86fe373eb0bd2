// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/store/TallyReader.h"

#include "tallyd/store/TallyCounts.h"
#include "tallyd/store/TallyRun.h"
#include "tallyd/store/TallySchema.h"

#include <algorithm>
#include <limits>
#include <optional>

namespace brindle::tallyd {

/// What one question adds up, and which of a day's orders it reads.
class TallyReader::Counter {
  public:
    using Bytes = std::span<const std::uint8_t>;

    explicit Counter(const TallyQuestion& question)
        : question_(question), order_(orderOf(question)) {
        if (order_ == TallyOrder::remotePort)
            sought_ = TallyKey().add(question.address);
        else if (order_ == TallyOrder::portRemote)
            sought_ = TallyKey().add(question.port);
    }

    std::int64_t flags() const {
        return (question_.action == Action::block ? 1 : 0) | (isOutbound() ? 2 : 0);
    }
    TallyOrder order() const { return order_; }
    /// What the keys of an order begin with that are of interest; nothing when all are.
    const std::optional<TallyKey>& sought() const { return sought_; }
    bool isOutbound() const { return question_.direction == Direction::out; }

    /// Addresses as their 4 or 16 bytes, or none.
    void add(Bytes local, Bytes remote, std::uint16_t port, std::int64_t count) {
        switch (order_) {
        case TallyOrder::remote:
            return addresses_.add(remote, count);
        case TallyOrder::local:
            return addresses_.add(local, count);
        case TallyOrder::port:
            return ports_.add(port, count);
        case TallyOrder::remotePort:
            return std::ranges::equal(remote, question_.address.bytes()) ? ports_.add(port, count)
                                                                         : void();
        case TallyOrder::portRemote:
            return port == question_.port ? addresses_.add(remote, count) : void();
        }
    }

    /// One of the order's keys, one that begins with what is sought.
    void add(const TallyKey& key, std::int64_t count) {
        TallyKeyParts parts(key.bytes());
        switch (order_) {
        case TallyOrder::remote:
        case TallyOrder::local:
            return addresses_.add(parts.addressBytes(), count);
        case TallyOrder::port:
            return ports_.add(parts.port(), count);
        case TallyOrder::remotePort:
            parts.addressBytes();
            return ports_.add(parts.port(), count);
        case TallyOrder::portRemote:
            parts.port();
            return addresses_.add(parts.addressBytes(), count);
        }
    }

    std::vector<CountEntry> entries() {
        const bool byPort = order_ == TallyOrder::port || order_ == TallyOrder::remotePort;
        return byPort ? ports_.entries() : addresses_.entries();
    }

  private:
    static TallyOrder orderOf(const TallyQuestion& question) {
        const bool out = question.direction == Direction::out;
        switch (question.of) {
        case TallyQuestion::Of::sources:
            return out ? TallyOrder::local : TallyOrder::remote;
        case TallyQuestion::Of::destinations:
            return out ? TallyOrder::remote : TallyOrder::local;
        case TallyQuestion::Of::ports:
            return TallyOrder::port;
        case TallyQuestion::Of::portsOfAddress:
            return TallyOrder::remotePort;
        case TallyQuestion::Of::addressesOfPort:
            break;
        }
        return TallyOrder::portRemote;
    }

    const TallyQuestion question_;
    const TallyOrder order_;
    std::optional<TallyKey> sought_;
    AddressCounts addresses_;
    PortCounts ports_;
};

TallyReader::TallyReader(sqlite::Connection& connection)
    : records_(connection, "SELECT src, dst, dstport FROM records "
                           "WHERE time >= ? AND time <= ? AND flags = ?"),
      hours_(connection, "SELECT data FROM tally_runs WHERE flags = ? AND hour >= ? AND hour < ?"),
      days_(connection, "SELECT day FROM tally_days "
                        "WHERE flags = ? AND sorted = ? AND day >= ? ORDER BY day"),
      // A day's counts may be there before all of them are.
      dayCounts_(connection, "SELECT data FROM tally_days JOIN tally_day_counts "
                             "USING (flags, sorted, day) "
                             "WHERE flags = ? AND sorted = ? AND day >= ?"),
      chunksFrom_(connection, "SELECT first, data FROM tally_day_counts "
                              "WHERE flags = ?1 AND sorted = ?2 AND day = ?3 AND first >= "
                              "coalesce((SELECT first FROM tally_day_counts WHERE flags = ?1 "
                              "AND sorted = ?2 AND day = ?3 AND first <= ?4 "
                              "ORDER BY first DESC LIMIT 1), x'') ORDER BY first") {}

std::vector<CountEntry> TallyReader::count(std::int64_t fromMicros, const TallyQuestion& question) {
    Counter counter(question);
    std::int64_t hour = hourOf(fromMicros);
    if (fromMicros % kHourMicros != 0) {
        constexpr std::int64_t latest = std::numeric_limits<std::int64_t>::max();
        const bool isLast = hour == hourOf(latest);
        ++hour;
        countRecords(fromMicros, isLast ? latest : hour * kHourMicros - 1, counter);
    }
    const std::int64_t firstDay = dayOfHour(hour + kHoursADay - 1);
    const auto days = rolledUpDays(firstDay, counter);
    for (const std::int64_t day : days) {
        countHours(hour, day * kHoursADay, counter);
        hour = (day + 1) * kHoursADay;
        if (counter.sought())
            countInDay(day, counter);
    }
    countHours(hour, std::numeric_limits<std::int64_t>::max(), counter);
    if (!counter.sought() && !days.empty())
        countDays(firstDay, counter);
    return counter.entries();
}

void TallyReader::countRecords(std::int64_t fromMicros, std::int64_t toMicros, Counter& counter) {
    sqlite::StatementReset reset(records_);
    records_.bind(1, fromMicros);
    records_.bind(2, toMicros);
    records_.bind(3, counter.flags());
    while (records_.step()) {
        const Counter::Bytes src = records_.bytes(0);
        const Counter::Bytes dst = records_.bytes(1);
        const auto port = static_cast<std::uint16_t>(records_.integer(2));
        if (counter.isOutbound())
            counter.add(src, dst, port, 1);
        else
            counter.add(dst, src, port, 1);
    }
}

void TallyReader::countHours(std::int64_t first, std::int64_t end, Counter& counter) {
    if (first >= end)
        return;
    sqlite::StatementReset reset(hours_);
    hours_.bind(1, counter.flags());
    hours_.bind(2, first);
    hours_.bind(3, end);
    while (hours_.step()) {
        for (RunReader run(hours_.bytes(0)); run.next();) {
            TallyKeyParts parts(run.key().bytes());
            const Counter::Bytes local = parts.addressBytes();
            const Counter::Bytes remote = parts.addressBytes();
            counter.add(local, remote, parts.port(), run.count());
        }
    }
}

std::vector<std::int64_t> TallyReader::rolledUpDays(std::int64_t first, const Counter& counter) {
    std::vector<std::int64_t> days;
    sqlite::StatementReset reset(days_);
    days_.bind(1, counter.flags());
    days_.bind(2, static_cast<std::int64_t>(counter.order()));
    days_.bind(3, first);
    while (days_.step())
        days.push_back(days_.integer(0));
    return days;
}

void TallyReader::countDays(std::int64_t first, Counter& counter) {
    sqlite::StatementReset reset(dayCounts_);
    dayCounts_.bind(1, counter.flags());
    dayCounts_.bind(2, static_cast<std::int64_t>(counter.order()));
    dayCounts_.bind(3, first);
    while (dayCounts_.step())
        for (RunReader run(dayCounts_.bytes(0)); run.next();)
            counter.add(run.key(), run.count());
}

void TallyReader::countInDay(std::int64_t day, Counter& counter) {
    const auto sought = counter.sought()->bytes();
    const auto compare = [sought](std::span<const std::uint8_t> key) {
        const auto head = key.first(std::min(key.size(), sought.size()));
        return std::lexicographical_compare_three_way(head.begin(), head.end(), sought.begin(),
                                                      sought.end());
    };
    sqlite::StatementReset reset(chunksFrom_);
    chunksFrom_.bind(1, counter.flags());
    chunksFrom_.bind(2, static_cast<std::int64_t>(counter.order()));
    chunksFrom_.bind(3, day);
    chunksFrom_.bindBytes(4, sought);
    while (chunksFrom_.step()) {
        if (compare(chunksFrom_.bytes(0)) > 0)
            return;
        for (RunReader run(chunksFrom_.bytes(1)); run.next();) {
            const auto order = compare(run.key().bytes());
            if (order > 0)
                return;
            if (order == 0)
                counter.add(run.key(), run.count());
        }
    }
}

} // namespace brindle::tallyd
