// SPDX-License-Identifier: BSD-2-Clause
//
// What the server knows of one connected client: what it may do, how much it has under way, and its
// live stream. Shared by the connection and the capability that answers the client's requests; used
// on the loop thread only.
#pragma once

#include "protocol/TallydServer.h"
#include "protocol/server/LiveStream.h"
#include "protocol/server/Workers.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <utility>

#include <kj/refcount.h>

namespace brindle::server {

/// What every connection of a server shares.
struct ServerContext {
    DaemonService& service;
    const ServerLimits limits;
    Workers& workers;
    std::uint64_t clients = 0; ///< connected now
    std::uint64_t liveLost = 0;
    std::atomic<std::uint64_t> liveClients =
        0; ///< of them, asking for the stream; any thread reads
};

struct Peer final : public kj::Refcounted {
    Peer(ServerContext& sharedContext, PeerAccess peerAccess)
        : context(sharedContext), access(std::move(peerAccess)),
          live(context.limits, context.liveClients) {}

    ServerContext& context;
    const PeerAccess access;
    std::size_t requests = 0; ///< under way, queries included
    std::size_t queries = 0;
    kj::Maybe<wire::TallydAgentProtocol::Client> agent; ///< none once the connection ended
    LiveStream live;

    /// The connection ended: lets go of what the client exported.
    void close() {
        live.stop();
        agent = nullptr;
    }
};

/// Counts a request for as long as it exists.
class Counted {
  public:
    explicit Counted(std::size_t& count) : count_(&count) { ++count; }
    Counted(Counted&& other) noexcept : count_(std::exchange(other.count_, nullptr)) {}
    Counted& operator=(Counted&&) = delete;
    ~Counted() {
        if (count_)
            --*count_;
    }

  private:
    std::size_t* count_;
};

} // namespace brindle::server
