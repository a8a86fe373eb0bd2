// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/sources/live/LiveSource.h"

#include <utility>

#include <spdlog/spdlog.h>

namespace brindle::tallyd {

LiveSource::LiveSource(std::string name, std::unique_ptr<SourceReader> reader,
                       std::chrono::milliseconds retryTime)
    : name_(std::move(name)), retryTime_(retryTime), reader_(std::move(reader)),
      opened_(reader_->open()) {}

LiveSource::~LiveSource() {
    stop_.set();
    if (thread_.joinable())
        thread_.join();
}

void LiveSource::start(RecordSink& sink) {
    const SourceId id = sink.addSource(name_);
    thread_ = std::thread([this, &sink, id] { run(SourceFeed(sink, id, stop_)); });
}

void LiveSource::run(SourceFeed feed) {
    while (!stop_.isSet()) {
        std::string reason;
        if (opened_) {
            tellRunning(feed);
            reason = reader_->read(feed);
            if (stop_.isSet())
                return;
        } else {
            reason = opened_.error();
        }
        tellWaiting(feed, reason);
        if (!stop_.pause(retryTime_))
            return;
        opened_ = reader_->open();
    }
}

void LiveSource::tellWaiting(SourceFeed& feed, const std::string& reason) {
    feed.setState("waiting: " + reason);
    // Later reasons of the same absence, as the attempts give them, stand in the state only.
    if (!std::exchange(isWaitTold_, true))
        spdlog::warn("source \"{}\" waits: {}", name_, reason);
}

void LiveSource::tellRunning(SourceFeed& feed) {
    feed.setState("running");
    if (std::exchange(isWaitTold_, false))
        spdlog::info("source \"{}\" goes on", name_);
}

} // namespace brindle::tallyd
