// SPDX-License-Identifier: BSD-2-Clause
//
// What the store needs beside its records: the write-ahead log is moved into the main file, old
// records are deleted, empty pages given back, and days that are over are rolled up. All of it in
// steps that are soon done; which one is next, and when, is decided here. Owned by the intake, its
// writer thread's alone.
#pragma once

#include "tallyd/store/IntakeLimits.h"
#include "tallyd/store/StoreWriter.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace brindle::tallyd {

class Upkeep {
  public:
    using Clock = std::chrono::steady_clock;

    /// The writer outlives it.
    Upkeep(StoreWriter& writer, const IntakeLimits& limits);

    /// Something is to be done now.
    bool due() const;
    /// ... and before any further batch: the store takes more than it may.
    bool urgent() const;
    /// When something is due without a batch before it; nothing: never.
    std::optional<Clock::time_point> next() const;
    /// One step of what is due.
    void step();

    /// Deletes up to a step's worth of the records before a time, for somebody who asked. The
    /// number, and whether that was all.
    struct Purged {
        std::uint64_t records = 0;
        bool all = false;
    };
    tl::expected<Purged, std::string> purge(std::int64_t beforeMicros);

    /// A batch was committed, or the store refused it.
    void afterBatch(bool stored);

  private:
    enum class Step { purge, checkpoint, shrink, rollUp };
    static constexpr std::size_t kSteps = 4;

    template <typename Work>
    auto timed(Step step, Work&& work);
    std::optional<Step> nextStep() const;
    bool ageDue() const;
    bool tooLarge() const;
    bool shrinkDue() const;
    void retain();
    void rollUp();
    void checkpoint();
    void shrink();
    std::size_t keptPages() const;
    std::uint64_t usedBytes() const;
    void measure();
    void report(Step step, const std::string& error);

    StoreWriter& writer_;
    const IntakeLimits limits_;
    StoreSpace space_;              ///< after the last batch or step
    std::size_t purgeRecords_;      ///< fewer than the limit after a purge found no room
    bool checkpointWanted_ = false; ///< the store refused something: its log may be full
    bool nothingToPurge_ = false;   ///< the store is empty, and takes more than it may even so
    Clock::time_point nextAge_ = Clock::now();
    Clock::time_point nextRollUp_ = Clock::now();
    Clock::time_point notBefore_ = Clock::now(); ///< after a failure there is a pause
    std::array<std::string, kSteps> errors_;     ///< what is being reported
    std::array<Clock::duration, kSteps> longest_{};
};

} // namespace brindle::tallyd
