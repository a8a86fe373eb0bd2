// SPDX-License-Identifier: BSD-2-Clause
//
// The way of a live record from the connection to the views: the exclusion test on the delivery
// thread, conversion on a global queue, the views on the main thread. Records that arrive close
// together travel together, in their order. The logs view keeps 1000 rows, so no more than that
// ever waits for it; list views count every record.
#pragma once

#include "core/log/Views.h"
#include "core/log/records/ExclusionTest.h"
#include "core/log/records/RecordDictionary.h"
#include "platform/queue/DispatchQueue.h"

#include <memory>

namespace brindle {

class LiveFeed {
  public:
    /// `views` and `exclusions` outlive the feed and every task on the queues.
    LiveFeed(platform::Queues queues, ViewControllers& views, const ExclusionTest& exclusions);
    ~LiveFeed();

    /// One live record, on the delivery thread; returns without waiting for any view.
    void receive(LiveRecordDictionary record);

  private:
    struct State;
    std::shared_ptr<State> state_;
};

/// Rows that the logs view keeps in live mode.
inline constexpr std::size_t kLiveRows = 1000;

} // namespace brindle
