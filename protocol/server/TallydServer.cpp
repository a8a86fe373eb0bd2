// SPDX-License-Identifier: BSD-2-Clause
#include "protocol/TallydServer.h"

#include "protocol/server/HelperServer.h"
#include "protocol/server/Peer.h"
#include "protocol/server/Workers.h"
#include "protocol/wire/BufferedStream.h"
#include "protocol/wire/LoopThread.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <map>
#include <string>
#include <utility>

#include <capnp/rpc-twoparty.h>
#include <kj/io.h>

namespace brindle {

namespace {

using server::Peer;
using server::ServerContext;

/// The requests under way of one client take the room of so many of the largest, all together.
constexpr std::size_t kLargestRequests = 4;
/// A client that leaves so much unread is not listened to until it reads.
constexpr std::size_t kUnreadBytes = 8 << 20;
/// All that a refused client may say: enough to be told why.
constexpr std::uint64_t kRefusedPeerBytes = 64 * 1024;

capnp::ReaderOptions requestLimits(const ServerLimits& limits) {
    capnp::ReaderOptions options;
    options.traversalLimitInWords = limits.messageBytes / sizeof(capnp::word);
    return options;
}

/// One client. Made and destroyed on the loop thread, outside of promise callbacks.
class Connection {
  public:
    Connection(kj::Own<kj::AsyncIoStream> socket, ServerContext& context, PeerAccess access)
        : stream_(kj::mv(socket)),
          network_(stream_, capnp::rpc::twoparty::Side::SERVER, requestLimits(context.limits)),
          peer_(kj::refcounted<Peer>(context, std::move(access))),
          rpc_(capnp::makeRpcServer(network_,
                                    kj::heap<server::BootstrapServer>(kj::addRef(*peer_)))) {
        rpc_.setFlowLimit(kLargestRequests * context.limits.messageBytes / sizeof(capnp::word));
        stream_.setReadGate([this] { return network_.getCurrentQueueSize() < kUnreadBytes; });
        if (!peer_->access.mayRead)
            stream_.setReadLimit(kRefusedPeerBytes);
        ++context.clients;
    }
    ~Connection() {
        --peer_->context.clients;
        peer_->close();
    }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    Peer& peer() { return *peer_; }
    bool isRefused() const { return !peer_->access.mayRead; }
    /// Takes one of its user's share.
    bool isOf(std::uint32_t user) const { return !isRefused() && peer_->access.user == user; }

    /// `ended` runs once, in a promise callback, when the client is gone or talks nonsense.
    void watch(kj::Function<void()> ended) {
        watch_ =
            network_.onDisconnect().then(kj::mv(ended)).eagerlyEvaluate([](kj::Exception&&) {});
    }

  private:
    wire::BufferedStream stream_;
    capnp::TwoPartyVatNetwork network_;
    kj::Own<Peer> peer_;
    capnp::RpcSystem<capnp::rpc::twoparty::VatId> rpc_;
    kj::Promise<void> watch_ = nullptr;
};

class Server final : public TallydServer {
  public:
    Server(DaemonService& service, ServerLimits limits)
        : loop_("server"), workers_(limits.workers, loop_), context_{.service = service,
                                                                     .limits = limits,
                                                                     .workers = workers_} {}

    ~Server() override {
        // Connections first, so that nothing asks the workers any more; then the workers, whose
        // last words need the loop.
        loop_.post([this] {
            closing_ = true;
            connections_.clear();
        });
        workers_.stop();
        loop_.stop();
    }

    void accept(int fd, PeerAccess access) override {
        kj::AutoCloseFd accepted(fd);
        // The thread may be behind: what it cannot take soon is not kept for it without bounds.
        if (waiting_ >= context_.limits.connections)
            return;
        ++waiting_;
        loop_.post([this, socket = kj::mv(accepted), access = std::move(access)]() mutable {
            --waiting_;
            admit(kj::mv(socket), std::move(access));
        });
    }

    void publish(std::shared_ptr<const std::vector<StoredRecord>> records) override {
        if (context_.liveClients == 0 || !records || records->empty())
            return;
        loop_.post([this, records = std::move(records)] {
            for (auto& [id, connection] : connections_) {
                server::LiveStream& live = connection->peer().live;
                if (live.isRunning())
                    context_.liveLost += live.offer(records);
            }
        });
    }

    bool goesOn() override {
        if (!cameRound_.exchange(false))
            return false;
        loop_.post([this] { cameRound_ = true; });
        return true;
    }

  private:
    template <typename Which>
    std::size_t countOf(Which which) const {
        return static_cast<std::size_t>(
            std::count_if(connections_.begin(), connections_.end(),
                          [&](const auto& entry) { return which(*entry.second); }));
    }

    /// One user's clients never keep those of the others out: what is beyond a share is refused.
    void refuseBeyondShare(PeerAccess& access) const {
        const std::size_t theirs =
            countOf([&](const Connection& connection) { return connection.isOf(access.user); });
        if (!access.mayRead || theirs < context_.limits.connectionsPerUser)
            return;
        access.mayRead = access.mayManage = false;
        access.refusal = "this user has " + std::to_string(theirs) + " connections already";
    }

    /// A refused client is told so, but clients that are refused never keep the others out.
    bool hasRoomFor(const PeerAccess& access) const {
        if (connections_.size() >= context_.limits.connections)
            return false;
        if (access.mayRead)
            return true;
        return countOf([](const Connection& connection) { return connection.isRefused(); }) <
               std::max<std::size_t>(context_.limits.connections / 8, 1);
    }

    void admit(kj::AutoCloseFd socket, PeerAccess access) {
        refuseBeyondShare(access);
        if (closing_ || !hasRoomFor(access))
            return;
        const std::uint64_t id = nextId_++;
        auto stream = loop_.io().wrapSocketFd(kj::mv(socket));
        auto connection = std::make_unique<Connection>(kj::mv(stream), context_, std::move(access));
        connection->watch([this, id] { loop_.post([this, id] { connections_.erase(id); }); });
        connections_.emplace(id, std::move(connection));
    }

    wire::LoopThread loop_;
    server::Workers workers_;
    ServerContext context_;

    std::atomic<std::size_t> waiting_ = 0; ///< accepted and not yet looked at
    std::atomic<bool> cameRound_ = true;   ///< since goesOn() asked last

    // On the loop thread only.
    std::map<std::uint64_t, std::unique_ptr<Connection>> connections_;
    std::uint64_t nextId_ = 1;
    bool closing_ = false;
};

} // namespace

std::unique_ptr<TallydServer> makeTallydServer(DaemonService& service, ServerLimits limits) {
    return std::make_unique<Server>(service, limits);
}

} // namespace brindle
