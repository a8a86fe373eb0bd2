// SPDX-License-Identifier: BSD-2-Clause
//
// The stream of new records to one client. A client that does not keep up loses the newest records;
// neither the queue nor what is under way to it grows beyond its limits. The more clients follow,
// the less is under way to each, so that a request of any client waits behind a bounded number of
// records. Owned by the client's connection, used on the loop thread only.
#pragma once

#include "core/log/records/PacketRecord.h"
#include "protocol/TallydServer.h"
#include "protocol/wire/tallyd.capnp.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <vector>

#include <kj/async.h>

namespace brindle::server {

class LiveStream final : private kj::TaskSet::ErrorHandler {
  public:
    using Records = std::shared_ptr<const std::vector<StoredRecord>>;

    /// `running` counts the streams that run, of all clients.
    LiveStream(const ServerLimits& limits, std::atomic<std::uint64_t>& running)
        : limits_(limits), runningStreams_(running), sent_(*this) {}
    ~LiveStream() { stop(); }
    LiveStream(const LiveStream&) = delete;
    LiveStream& operator=(const LiveStream&) = delete;

    bool isRunning() const { return running_; }
    /// Harmless when it runs already.
    void start(wire::TallydAgentProtocol::Client agent);
    /// What waits is dropped, as the client no longer wants it. Harmless when it does not run.
    void stop();
    /// Queues as many of the records as there is room for; the number that found none.
    std::uint64_t offer(const Records& records);

  private:
    /// The part of a published batch that waits for this client.
    struct Slice {
        Records records;
        std::size_t next = 0;
        std::size_t end = 0;
    };

    std::size_t window() const;
    void pump();
    void send(const StoredRecord& stored);
    void taskFailed(kj::Exception&& error) override;

    const ServerLimits& limits_;
    std::atomic<std::uint64_t>& runningStreams_;
    bool running_ = false;
    kj::Maybe<wire::TallydAgentProtocol::Client> agent_;
    std::deque<Slice> queue_;
    std::size_t queued_ = 0;
    std::size_t inFlight_ = 0;
    kj::TaskSet sent_;
};

} // namespace brindle::server
