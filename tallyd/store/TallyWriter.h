// SPDX-License-Identifier: BSD-2-Clause
//
// Keeps the tallies equal to the records, on the store's writing connection and within its
// transactions. What a batch adds to an hour becomes one small run; a new run takes earlier ones of
// its size in, so that an hour has few of them however often it is added to. A run is numbered by
// the last record in it, so that what is purged is taken out of the run that counted it, and the
// runs go with their records. Days that are over are rolled up when there is time, in
// steps; a day counts as rolled up when the last of them is stored. Owned by the
// StoreWriter, its thread; throws sqlite::Error.
#pragma once

#include "core/log/records/PacketRecord.h"
#include "tallyd/store/DayRollUp.h"
#include "tallyd/store/Sqlite.h"
#include "tallyd/store/TallyRun.h"
#include "tallyd/store/TallySchema.h"

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <utility>
#include <vector>

namespace brindle::tallyd {

class TallyWriter {
  public:
    explicit TallyWriter(sqlite::Connection& connection);

    /// Counts records that the caller's transaction stores; the last of them gets `lastSequence`.
    void add(std::span<const std::vector<PacketRecord>> chunks, std::int64_t lastSequence);

    /// Takes back the records up to and including the one at that time and sequence number, all
    /// that are stored before it included. Called while they still are.
    void takeBack(std::int64_t timeMicros, std::int64_t sequence);

    /// Counts every stored record, in tables that are empty.
    void countAll();

    /// Rolls days that were over by `nowMicros` up, each in each of the orders: a step of about so
    /// many entries, in the caller's transaction. False when nothing is left to do, or when
    /// somebody else stores: then it is begun anew later.
    bool rollUpDay(std::int64_t nowMicros, std::size_t mostEntries);
    /// The caller's transaction failed: what was rolled up so far may not be stored.
    void abandonRollUp() { rollUp_.reset(); }

  private:
    struct Entry {
        IpAddress local;
        IpAddress remote;
        std::uint16_t port = 0;
        std::int64_t count = 0;
    };
    using Hour = std::pair<int, std::int64_t>; ///< flags and hour
    using Entries = std::map<Hour, std::vector<Entry>>;
    struct Extent {
        std::int64_t runs = 0;
        std::int64_t entries = 0;
    };

    /// Finds the entries of an hour without a search while records come in order of time.
    class Sorter {
      public:
        void add(std::int64_t timeMicros, std::int64_t flags, const IpAddress& src,
                 const IpAddress& dst, std::uint16_t dstport, std::int64_t count);
        Entries entries;

      private:
        struct Last {
            std::int64_t hour = 0;
            std::vector<Entry>* entries = nullptr;
        };
        std::array<Last, 4> last_;
    };

    static TallyRun sortedRun(std::vector<Entry>& entries);
    void store(Entries& entries, std::int64_t lastSequence);
    void addRun(const Hour& hour, std::int64_t number, TallyRun run);
    void takeOut(int flags, std::int64_t hour, std::map<std::int64_t, std::vector<Entry>> parts);
    std::vector<std::int64_t> runNumbers(const Hour& hour);
    std::optional<std::size_t> takeOutOf(const Hour& hour, std::int64_t number, TallyRun taken,
                                         std::size_t mostEntries);
    void insertRun(const Hour& hour, std::int64_t number, const TallyRun& run);
    void forgetDay(int flags, TallyOrder order, std::int64_t day);
    void forgetDaysTo(int flags, TallyOrder order, std::int64_t day);
    static void runForDay(sqlite::Statement& statement, int flags, TallyOrder order,
                          std::int64_t day);
    std::optional<std::int64_t> nextHour(int flags, std::int64_t from);
    bool isRolledUp(int flags, TallyOrder order, std::int64_t day);
    std::vector<std::vector<std::uint8_t>> runsOf(const Hour& hour);
    void compactHour(const Hour& hour);
    bool beginRollUp(std::int64_t nowMicros, std::size_t mostEntries);
    std::size_t rollUpStep(std::size_t mostEntries);
    std::optional<std::size_t> addNextRun();
    Extent extentOf(int flags, std::int64_t firstHour, std::int64_t hours);
    std::int64_t dataVersion();

    sqlite::Statement lastRun_;
    sqlite::Statement nextRun_;
    sqlite::Statement entries_;
    sqlite::Statement hourRuns_;
    sqlite::Statement runNumbers_;
    sqlite::Statement oneRun_;
    sqlite::Statement nextHour_;
    sqlite::Statement insertRun_;
    sqlite::Statement deleteRun_;
    sqlite::Statement deleteHour_;
    sqlite::Statement deleteHoursBefore_;
    sqlite::Statement isRolledUp_;
    sqlite::Statement markDay_;
    sqlite::Statement unmarkDay_;
    sqlite::Statement insertCounts_;
    sqlite::Statement unmarkDaysTo_;
    sqlite::Statement deleteCounts_;
    sqlite::Statement deleteCountsTo_;
    sqlite::Statement dataVersion_;
    sqlite::Statement recordsUpTo_;
    sqlite::Statement allRecords_;
    sqlite::Connection& connection_;

    std::optional<DayRollUp> rollUp_; ///< under way
    std::int64_t rollUpVersion_ = 0;  ///< of the database when it began, as to other writers
    Hour lastRead_;                   ///< hour and number of the run that it took in last
};

} // namespace brindle::tallyd
