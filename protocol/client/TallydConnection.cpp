// SPDX-License-Identifier: BSD-2-Clause
#include "protocol/TallydConnection.h"

#include "protocol/client/Link.h"
#include "protocol/client/Proxies.h"

#include <utility>

namespace brindle {

namespace {

class Connection final : public TallydConnection {
  public:
    Connection(Connector connector, std::weak_ptr<TallydAgentProtocol> agent)
        : link_(std::make_shared<client::Link>(std::move(connector), std::move(agent))) {}
    ~Connection() override { link_->shutDown(); }

    void setInvalidationHandler(std::function<void()> handler) override {
        link_->setInvalidationHandler(std::move(handler));
    }
    void resume() override { link_->resume(); }
    void invalidate() override { link_->invalidate(); }

    std::shared_ptr<TallydHelperProtocol>
    remoteObjectProxyWithErrorHandler(ErrorHandler handler) override {
        return client::makeAsynchronousProxy(link_, std::move(handler));
    }
    std::shared_ptr<TallydHelperProtocol>
    synchronousRemoteObjectProxyWithErrorHandler(ErrorHandler handler) override {
        return client::makeSynchronousProxy(link_, std::move(handler));
    }

  private:
    std::shared_ptr<client::Link> link_;
};

} // namespace

std::shared_ptr<TallydConnection> openTallydConnection(Connector connector,
                                                       std::weak_ptr<TallydAgentProtocol> agent) {
    return std::make_shared<Connection>(std::move(connector), std::move(agent));
}

} // namespace brindle
