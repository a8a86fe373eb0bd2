// SPDX-License-Identifier: BSD-2-Clause
//
// Counts records from the tallies: the whole days and hours of the period as they are kept, its
// first, partial hour from the records themselves. Owned by a ReaderConnection, used within its
// read transaction; throws sqlite::Error.
#pragma once

#include "protocol/TallydHelperProtocol.h"
#include "tallyd/records/TallyQuestion.h"
#include "tallyd/store/Sqlite.h"

#include <cstdint>
#include <vector>

namespace brindle::tallyd {

class TallyReader {
  public:
    explicit TallyReader(sqlite::Connection& connection);

    /// Of the records with time >= fromMicros; largest first, ties by label in numeric order.
    std::vector<CountEntry> count(std::int64_t fromMicros, const TallyQuestion& question);

  private:
    class Counter;

    void countRecords(std::int64_t fromMicros, std::int64_t toMicros, Counter& counter);
    void countHours(std::int64_t first, std::int64_t end, Counter& counter);
    void countDays(std::int64_t first, Counter& counter);
    void countInDay(std::int64_t day, Counter& counter);
    std::vector<std::int64_t> rolledUpDays(std::int64_t first, const Counter& counter);

    sqlite::Statement records_;
    sqlite::Statement hours_;
    sqlite::Statement days_;
    sqlite::Statement dayCounts_;
    sqlite::Statement chunksFrom_;
};

} // namespace brindle::tallyd
