// SPDX-License-Identifier: BSD-2-Clause
//
// Stands between the sources and the intake for as long as the daemon runs: a source that was
// removed and is added again gets its former account and place, and all that was handed over is
// counted, to see whether the intake gets on with it. Owned by the SourceSet; sources call it on
// their threads.
#pragma once

#include "tallyd/records/RecordSink.h"

#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace brindle::tallyd {

class CountingSink final : public RecordSink {
  public:
    /// `sink` outlives it.
    explicit CountingSink(RecordSink& sink) : sink_(sink) {}

    SourceId addSource(const std::string& name) override;
    void setState(SourceId source, const std::string& state) override;
    std::string storedPosition(SourceId source) override;
    void add(SourceId source, std::vector<PacketRecord> records, WhenFull whenFull,
             std::string position = {}) override;
    void countLost(SourceId source, std::string_view reason, std::uint64_t count) override;

    /// The source's thread is gone; its figures stay.
    void setRemoved(const std::string& name);
    /// Everything counted as received or about to be.
    std::uint64_t handedOver() const { return handedOver_.load(std::memory_order_relaxed); }

  private:
    struct Place {
        std::string handedOver; ///< by the present source of the name
        std::string atStart;    ///< by the one before it; empty for the first
    };

    RecordSink& sink_;
    std::atomic<std::uint64_t> handedOver_ = 0;

    std::mutex mutex_;
    std::map<std::string, SourceId, std::less<>> ids_;
    std::map<SourceId, Place> places_;
};

} // namespace brindle::tallyd
