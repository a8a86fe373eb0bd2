// SPDX-License-Identifier: BSD-2-Clause
#include "protocol/client/Session.h"

#include "protocol/client/ErrorText.h"
#include "protocol/client/Sinks.h"

#include <utility>

#include <kj/io.h>

namespace brindle::client {

/// The socket and what runs over it.
struct Session::Wire {
    Wire(kj::Own<kj::AsyncIoStream> socket, std::weak_ptr<TallydAgentProtocol> agent)
        : stream(kj::mv(socket)), network(stream, capnp::rpc::twoparty::Side::CLIENT),
          rpc(capnp::makeRpcClient(network)), helper(connect(std::move(agent))) {}

    /// Requests may be sent before the daemon has answered.
    wire::TallydHelperProtocol::Client connect(std::weak_ptr<TallydAgentProtocol> agent) {
        capnp::MallocMessageBuilder message;
        auto server = message.initRoot<capnp::rpc::twoparty::VatId>();
        server.setSide(capnp::rpc::twoparty::Side::SERVER);
        auto request = rpc.bootstrap(server).castAs<wire::TallydBootstrap>().connectRequest();
        request.setAgent(kj::heap<AgentServer>(std::move(agent)));
        return request.send().getHelper();
    }

    wire::BufferedStream stream;
    capnp::TwoPartyVatNetwork network;
    capnp::RpcSystem<capnp::rpc::twoparty::VatId> rpc;
    wire::TallydHelperProtocol::Client helper;
    kj::Promise<void> watch = nullptr;
};

void Session::connect(const Connector& connector) {
    if (failed_ || std::exchange(connecting_, true))
        return;
    auto socket = connector();
    if (!socket) {
        fail(oneLine(socket.error()));
        return;
    }
    try {
        wire_ = std::make_shared<Wire>(loop_.io().wrapSocketFd(kj::AutoCloseFd(*socket)), agent_);
    } catch (const kj::Exception& error) {
        fail("cannot use the connection to tallyd: " + oneLine(error.getDescription().cStr()));
        return;
    }
    wire_->watch = wire_->network.onDisconnect()
                       .then([this] { loop_.post([this] { fail(kConnectionClosed); }); })
                       .eagerlyEvaluate([](kj::Exception&&) {});
    for (auto& [id, running] : running_)
        send(id, running);
}

void Session::start(RequestId id, Request request, ErrorHandler error) {
    if (failed_) {
        error(*failed_);
        return;
    }
    Running& running = running_[id];
    running.error = std::move(error);
    running.waiting = kj::mv(request);
    if (wire_)
        send(id, running);
}

void Session::send(RequestId id, Running& running) {
    Request request = kj::mv(*running.waiting);
    running.waiting.reset();
    running.promise = kj::evalNow([&] { return request(wire_->helper); })
                          .then([this, id] { onReplied(id); },
                                [this, id](kj::Exception&& error) { onFailed(id, error); })
                          .eagerlyEvaluate(nullptr);
}

void Session::onReplied(RequestId id) {
    retire(id);
}

void Session::onFailed(RequestId id, const kj::Exception& error) {
    // A broken connection fails all requests alike, in order and with one text.
    if (error.getType() == kj::Exception::Type::DISCONNECTED) {
        loop_.post([this] { fail(kConnectionClosed); });
        return;
    }
    const auto found = running_.find(id);
    if (found == running_.end())
        return;
    const ErrorHandler handler = std::exchange(found->second.error, nullptr);
    retire(id);
    if (handler)
        handler(describe(error));
}

// A promise must not be destroyed from within its own callback.
void Session::retire(RequestId id) {
    const auto found = running_.find(id);
    if (found == running_.end())
        return;
    loop_.post([over = kj::mv(found->second.promise)] {});
    running_.erase(found);
}

void Session::drop(RequestId id) {
    running_.erase(id);
}

void Session::fail(const std::string& reason) {
    if (failed_)
        return;
    failed_ = reason;
    auto failedRequests = std::exchange(running_, {});
    std::vector<ErrorHandler> handlers;
    for (auto& [id, running] : failedRequests)
        handlers.push_back(std::move(running.error));
    failedRequests.clear();
    wire_.reset();
    for (const ErrorHandler& handler : handlers)
        if (handler)
            handler(reason);
    if (invalidated_)
        invalidated_();
}

} // namespace brindle::client
