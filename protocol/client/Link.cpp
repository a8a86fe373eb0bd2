// SPDX-License-Identifier: BSD-2-Clause
#include "protocol/client/Link.h"

#include <utility>

namespace brindle::client {

namespace {
constexpr const char* kInvalidated = "the connection to tallyd was closed on this side";
}

Link::Link(Connector connector, std::weak_ptr<TallydAgentProtocol> agent)
    : connector_(std::move(connector)),
      session_(loop_, std::move(agent), [this] { runInvalidationHandler(); }), loop_("delivery") {}

void Link::shutDown() {
    invalidate();
    loop_.stop();
}

void Link::setInvalidationHandler(std::function<void()> handler) {
    std::lock_guard lock(mutex_);
    invalidationHandler_ = std::move(handler);
}

void Link::runInvalidationHandler() {
    std::function<void()> handler;
    {
        std::lock_guard lock(mutex_);
        handler = invalidationHandler_; // a copy: the handler may remove itself
    }
    if (handler)
        handler();
}

void Link::resume() {
    loop_.post([this] { session_.connect(connector_); });
}

void Link::invalidate() {
    loop_.post([this] { session_.fail(kInvalidated); });
}

void Link::submit(RequestId id, Request request, ErrorHandler error) {
    // Kept apart, as a thread that has ended destroys what is posted to it.
    const ErrorHandler late = error;
    const bool posted =
        loop_.post([this, id, request = kj::mv(request), error = std::move(error)]() mutable {
            session_.start(id, kj::mv(request), std::move(error));
        });
    if (!posted)
        late(kInvalidated);
}

void Link::drop(RequestId id) {
    loop_.post([this, id] { session_.drop(id); });
}

} // namespace brindle::client
