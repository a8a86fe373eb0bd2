// SPDX-License-Identifier: BSD-2-Clause
//
// A day's tallies on their way from the runs of its hours to one of the orders that questions read.
// Each run is sorted into that order by itself; then all are merged, chunk by chunk. It stops after
// so many entries as it is told and goes on later: nobody who waits for it waits long, however many
// records the day had. Holds some ten bytes an entry. Plain values; one thread.
//
//     DayRollUp rollUp(flags, TallyOrder::remote, day);
//     rollUp.add(run);                        // each run of the day
//     while (!rollUp.isMerged())
//         rollUp.merge(65536, storeChunk);
#pragma once

#include "tallyd/store/TallyRun.h"
#include "tallyd/store/TallySchema.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <utility>
#include <vector>

namespace brindle::tallyd {

class DayRollUp {
  public:
    /// Entries in one chunk: what is read to find one key.
    static constexpr std::size_t kChunkEntries = 2048;

    DayRollUp(int flags, TallyOrder order, std::int64_t day,
              std::size_t chunkEntries = kChunkEntries)
        : flags_(flags), order_(order), day_(day), chunkEntries_(chunkEntries) {}

    int flags() const { return flags_; }
    TallyOrder order() const { return order_; }
    std::int64_t day() const { return day_; }

    /// Takes in a run of one of the day's hours; how many entries it had. Before any merge.
    std::size_t add(std::span<const std::uint8_t> run);

    /// A chunk, and the first key that may be in it.
    using Sink = std::function<void(const TallyKey& first, const TallyRun& chunk)>;
    /// Goes on with the merge; the number of entries that were merged, `most` of them.
    std::size_t merge(std::size_t most, const Sink& sink);
    bool isMerged() const { return begun_ && heap_.empty(); }

  private:
    TallyKey keyInOrder(const TallyKey& key) const;
    void finishChunk(const Sink& sink);

    const int flags_;
    const TallyOrder order_;
    const std::int64_t day_;
    const std::size_t chunkEntries_;
    std::vector<std::vector<std::uint8_t>> parts_; ///< in the order, one of each run
    std::vector<RunReader> heap_;
    bool begun_ = false;
    RunWriter chunk_;
    TallyKey first_; ///< of the chunk
    bool chunkBegun_ = false;
};

} // namespace brindle::tallyd
