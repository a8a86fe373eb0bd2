// SPDX-License-Identifier: BSD-2-Clause
//
// What the tally tables mean, for the two who use them: TallyWriter and TallyReader.
//
// tally_runs    each hour of each flags value: one or more runs whose counts, added up, are those
//               of the hour's records. Keys: local address, remote address, port. `run` is the
//               last sequence number among the records that it counts, or larger.
// tally_days    the days whose hours were rolled up, each order by itself. A day leaves it, and its
//               counts go, in the transaction that changes one of its hours.
// tally_day_counts   such a day's counts, in chunks that can be found by their first key. Those of
//               a day that is not among tally_days are of a roll-up that is under way, or broke
//               off.
//
// Hours and days are counted from 1970, UTC. `flags` is that of the records: 1 for block, 2 for
// outbound.
#pragma once

#include <array>
#include <cstdint>

namespace brindle::tallyd {

inline constexpr std::int64_t kHourMicros = 3'600'000'000;
inline constexpr std::int64_t kHoursADay = 24;
inline constexpr int kFlagsValues = 4;

/// What a day's counts are by, and in which order; the numbers are stored.
enum class TallyOrder : std::int64_t {
    remote = 1,     ///< keys: remote address
    local = 2,      ///< local address
    port = 3,       ///< port
    remotePort = 4, ///< remote address, port
    portRemote = 5, ///< port, remote address
};
inline constexpr std::array kTallyOrders{TallyOrder::remote, TallyOrder::local, TallyOrder::port,
                                         TallyOrder::remotePort, TallyOrder::portRemote};

constexpr std::int64_t floorDivide(std::int64_t value, std::int64_t divisor) {
    return value / divisor - (value % divisor < 0 ? 1 : 0);
}
constexpr std::int64_t hourOf(std::int64_t timeMicros) {
    return floorDivide(timeMicros, kHourMicros);
}
constexpr std::int64_t dayOfHour(std::int64_t hour) {
    return floorDivide(hour, kHoursADay);
}

inline constexpr const char* kTallyTables = R"sql(
CREATE TABLE tally_runs (
    flags   INTEGER NOT NULL,
    hour    INTEGER NOT NULL,
    run     INTEGER NOT NULL,
    entries INTEGER NOT NULL,
    data    BLOB NOT NULL,
    PRIMARY KEY (flags, hour, run)
) WITHOUT ROWID;
CREATE TABLE tally_days (
    flags  INTEGER NOT NULL,
    sorted INTEGER NOT NULL,
    day    INTEGER NOT NULL,
    PRIMARY KEY (flags, sorted, day)
) WITHOUT ROWID;
CREATE TABLE tally_day_counts (
    flags  INTEGER NOT NULL,
    sorted INTEGER NOT NULL,
    day    INTEGER NOT NULL,
    first  BLOB NOT NULL,
    data   BLOB NOT NULL,
    PRIMARY KEY (flags, sorted, day, first)
) WITHOUT ROWID;
)sql";

} // namespace brindle::tallyd
