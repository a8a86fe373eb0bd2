// SPDX-License-Identifier: BSD-2-Clause
//
// Live records on their way into the table: gathered so that the table changes a few times a
// second, however many arrive, and counted for the rate. Owned by the logs view, main thread.
#pragma once

#include "core/log/LiveFeed.h"
#include "core/log/VDXLog.h"

#include <cstddef>
#include <cstdint>
#include <deque>

namespace brindle {

class LogsArrayController;

class LiveRows {
  public:
    void add(VDXLog log) {
        ++arrived_;
        waiting_.push_back(std::move(log));
        if (waiting_.size() > kLiveRows) {
            waiting_.pop_front(); // those behind it push it out of the table anyway
        }
    }
    void clear() { waiting_.clear(); }
    bool empty() const { return waiting_.empty(); }
    /// Rows the table would hold, `held` being there already, once the waiting ones are in.
    std::size_t countWith(std::size_t held) const;
    /// Puts what waits at the front, the newest first, each addition to a full table taking the
    /// last row out.
    void moveInto(LogsArrayController& controller);

    /// Records that arrived since the last call.
    std::uint64_t takeArrived();

  private:
    std::deque<VDXLog> waiting_; ///< oldest first
    std::uint64_t arrived_ = 0;
};

} // namespace brindle
