// SPDX-License-Identifier: BSD-2-Clause
//
// The delivery thread's part of a connection: the RPC system over one socket and the requests that
// are under way. Lives on the delivery thread: every function is called there, outside of promise
// callbacks. Once it failed it stays failed.
#pragma once

#include "protocol/TallydConnection.h"
#include "protocol/client/Requests.h"
#include "protocol/wire/BufferedStream.h"
#include "protocol/wire/LoopThread.h"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <capnp/rpc-twoparty.h>

namespace brindle::client {

using RequestId = std::uint64_t;

class Session {
  public:
    /// `invalidated` runs once, after the error handlers of the requests under way.
    Session(wire::LoopThread& loop, std::weak_ptr<TallydAgentProtocol> agent,
            std::function<void()> invalidated)
        : loop_(loop), agent_(std::move(agent)), invalidated_(std::move(invalidated)) {}

    /// Sends the requests that waited. Harmless when called again.
    void connect(const Connector& connector);
    /// Requests wait for `connect`. `error` runs at once when the session failed.
    void start(RequestId id, Request request, ErrorHandler error);
    /// Drops a request: neither its callback nor its error handler runs. Harmless when it is over.
    void drop(RequestId id);
    /// Ends the session for good; only the first reason counts.
    void fail(const std::string& reason);

  private:
    struct Wire;

    struct Running {
        ErrorHandler error;
        std::optional<Request> waiting; ///< until it is sent
        kj::Promise<void> promise = nullptr;
    };

    void send(RequestId id, Running& running);
    void onReplied(RequestId id);
    void onFailed(RequestId id, const kj::Exception& error);
    void retire(RequestId id);

    wire::LoopThread& loop_;
    std::weak_ptr<TallydAgentProtocol> agent_;
    std::function<void()> invalidated_;
    bool connecting_ = false;
    std::optional<std::string> failed_;
    std::map<RequestId, Running> running_; ///< in the order of sending
    std::shared_ptr<Wire> wire_;           ///< before what runs over it is gone, it stays
};

} // namespace brindle::client
