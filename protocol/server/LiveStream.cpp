// SPDX-License-Identifier: BSD-2-Clause
#include "protocol/server/LiveStream.h"

#include "protocol/wire/RecordEncoding.h"

#include <algorithm>

namespace brindle::server {

void LiveStream::start(wire::TallydAgentProtocol::Client agent) {
    if (running_)
        return;
    agent_ = kj::mv(agent);
    running_ = true;
    ++runningStreams_;
}

void LiveStream::stop() {
    if (!running_)
        return;
    running_ = false;
    --runningStreams_;
    agent_ = nullptr;
    queue_.clear();
    queued_ = 0;
}

std::uint64_t LiveStream::offer(const Records& records) {
    const std::size_t taken = std::min(records->size(), limits_.liveQueueRecords - queued_);
    if (taken > 0) {
        queue_.push_back({records, 0, taken});
        queued_ += taken;
        pump();
    }
    return records->size() - taken;
}

/// How many messages may be under way to this client.
std::size_t LiveStream::window() const {
    constexpr std::size_t kLeast = 4;
    const std::size_t share = limits_.liveMessagesOfAll / std::max<std::size_t>(runningStreams_, 1);
    return std::min(limits_.liveMessagesInFlight, std::max(share, kLeast));
}

void LiveStream::pump() {
    const std::size_t most = window();
    while (running_ && !queue_.empty() && inFlight_ < most) {
        Slice& slice = queue_.front();
        send((*slice.records)[slice.next]);
        --queued_;
        if (++slice.next == slice.end)
            queue_.pop_front();
    }
}

void LiveStream::send(const StoredRecord& stored) {
    KJ_IF_MAYBE (agent, agent_) {
        constexpr kj::uint kCallWords = 4;
        auto request = agent->realTimeLogRequest(
            capnp::MessageSize{wire::liveRecordWords(stored.record) + kCallWords, 0});
        wire::encodeLive(stored, request.initInfo());
        ++inFlight_;
        sent_.add(request.send().ignoreResult().then([this] {
            // Answers come in bursts: half a window at a time keeps the messages together.
            if (--inFlight_ <= window() / 2)
                pump();
        }));
    }
}

void LiveStream::taskFailed(kj::Exception&&) {
    // A client that refuses a record, or is gone.
    --inFlight_;
    stop();
}

} // namespace brindle::server
