// SPDX-License-Identifier: BSD-2-Clause
//
// The client's end of the one connection to the daemon. It owns its delivery thread, on which it
// connects, receives replies and calls the exported agent. Made by `openTallydConnection`, owned by
// whoever made it; its methods may be called from any thread but the delivery thread unless said
// otherwise.
//
// A connection that cannot be made, breaks, or is invalidated becomes invalid once and for all: the
// requests in flight get their error handlers, then the invalidation handler runs (both on the
// delivery thread), and every later request gets its error handler.
#pragma once

#include "protocol/TallydAgentProtocol.h"
#include "protocol/TallydHelperProtocol.h"

#include <functional>
#include <memory>
#include <string>

#include <tl/expected.hpp>

namespace brindle {

/// Receives one line that names what failed and where. Runs once for each failed request.
using ErrorHandler = std::function<void(const std::string& description)>;

/// Makes a connected stream socket and gives it away; called once, on the delivery thread.
using Connector = std::function<tl::expected<int, std::string>()>;

class TallydConnection {
  public:
    virtual ~TallydConnection() = default;

    /// Set before resume; an empty handler removes it (also from within the handler).
    virtual void setInvalidationHandler(std::function<void()> handler) = 0;
    /// Starts connecting. Requests sent before it wait for it.
    virtual void resume() = 0;
    /// Ends the connection; harmless when it ended already.
    virtual void invalidate() = 0;

    virtual std::shared_ptr<TallydHelperProtocol>
    remoteObjectProxyWithErrorHandler(ErrorHandler handler) = 0;
    /// Its requests must not be made from the delivery thread.
    virtual std::shared_ptr<TallydHelperProtocol>
    synchronousRemoteObjectProxyWithErrorHandler(ErrorHandler handler) = 0;
};

/// `agent` is exported to the daemon and held weakly: once it is gone, what arrives is dropped.
/// Destroying the connection waits for its delivery thread, from which it must not be destroyed.
std::shared_ptr<TallydConnection> openTallydConnection(Connector connector,
                                                       std::weak_ptr<TallydAgentProtocol> agent);

} // namespace brindle
