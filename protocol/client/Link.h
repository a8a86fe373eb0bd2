// SPDX-License-Identifier: BSD-2-Clause
//
// What a connection and its proxies share: the delivery thread with its session, and the hand-over
// of requests to it. Proxies hold it weakly; the connection ends its thread.
#pragma once

#include "protocol/TallydConnection.h"
#include "protocol/client/Session.h"
#include "protocol/wire/LoopThread.h"

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>

namespace brindle::client {

class Link {
  public:
    Link(Connector connector, std::weak_ptr<TallydAgentProtocol> agent);

    /// Any thread but the delivery thread: fails what is under way and waits for the thread.
    void shutDown();

    void setInvalidationHandler(std::function<void()> handler);
    void resume();
    void invalidate();

    /// Any thread. Exactly one of the request's callback and `error` runs on the delivery thread;
    /// neither once the request was dropped by its id.
    void submit(RequestId id, Request request, ErrorHandler error);
    RequestId newRequestId() { return nextId_++; }
    void drop(RequestId id);
    bool isDeliveryThread() const { return loop_.isCurrent(); }

  private:
    void runInvalidationHandler();

    const Connector connector_;
    std::mutex mutex_;
    std::function<void()> invalidationHandler_;
    std::atomic<RequestId> nextId_{1};
    Session session_; ///< on the delivery thread only
    wire::LoopThread loop_;
};

} // namespace brindle::client
