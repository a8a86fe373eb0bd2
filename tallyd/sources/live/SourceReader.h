// SPDX-License-Identifier: BSD-2-Clause
//
// What a live source reads from: a device, a file that grows, the kernel's log. It comes and goes;
// LiveSource owns it, opens it again when it went, and is the thread that it runs on.
#pragma once

#include "tallyd/records/RecordSink.h"
#include "tallyd/sources/live/StopEvent.h"

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <tl/expected.hpp>

namespace brindle::tallyd {

/// Where a reader puts what it reads, under its source's name, and when it is to stop.
class SourceFeed {
  public:
    SourceFeed(RecordSink& sink, SourceId source, const StopEvent& stop)
        : sink_(sink), source_(source), stop_(stop) {}

    const StopEvent& stop() const { return stop_; }
    std::string storedPosition() const { return sink_.storedPosition(source_); }
    /// For a device, which does not wait for us: what there is no room for is lost.
    void addOrDrop(std::vector<PacketRecord> records) {
        sink_.add(source_, std::move(records), RecordSink::WhenFull::drop);
    }
    /// For what keeps its records until they are read.
    void addWhenRoom(std::vector<PacketRecord> records, std::string position) {
        sink_.add(source_, std::move(records), RecordSink::WhenFull::wait, std::move(position));
    }
    void countLost(std::string_view reason, std::uint64_t count) {
        if (count > 0)
            sink_.countLost(source_, reason, count);
    }
    /// While it reads; LiveSource tells the states around that.
    void setState(const std::string& state) { sink_.setState(source_, state); }

  private:
    RecordSink& sink_;
    const SourceId source_;
    const StopEvent& stop_;
};

class SourceReader {
  public:
    virtual ~SourceReader() = default;

    /// Gets ready to read, from a fresh start or after `read` has failed. Called first by whoever
    /// makes the source, before the daemon gives up its rights. Error: why not now, without the
    /// source's name.
    virtual tl::expected<void, std::string> open() = 0;
    /// Reads until the feed's stop is set, which gives an empty text, or until it cannot go on:
    /// why.
    virtual std::string read(SourceFeed& feed) = 0;
};

} // namespace brindle::tallyd
