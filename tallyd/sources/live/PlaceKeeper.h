// SPDX-License-Identifier: BSD-2-Clause
//
// Hands records on together with the place where reading stands behind them, and now and then that
// place alone. Owned by a reader of something that keeps its records, on its thread.
#pragma once

#include "tallyd/sources/live/SourceReader.h"

#include <chrono>
#include <string>
#include <vector>

namespace brindle::tallyd {

class PlaceKeeper {
  public:
    /// Where an earlier run, or this one before it had to open again, stood; empty: nowhere yet.
    const std::string& place(const SourceFeed& feed);

    /// `place`: behind all that was read, records or not. A place behind lines that made no record
    /// is not stored each time: after a crash they are read again, which does no harm.
    void handOn(SourceFeed& feed, std::vector<PacketRecord> records, std::string place);
    /// The same when reading ends: the place is stored in any case.
    void finish(SourceFeed& feed);

  private:
    using Clock = std::chrono::steady_clock;

    std::string place_;
    std::string stored_; ///< handed on last
    Clock::time_point storedTime_;
    bool isKnown_ = false;
};

} // namespace brindle::tallyd
