// SPDX-License-Identifier: BSD-2-Clause
//
// One reverse look-up of one address field of a displayed object. The object keeps the query alive
// in a map while it runs and is its delegate; a query keeps itself alive between `start` and `stop`
// as well. Main thread only: started, stopped and completed there.
#pragma once

#include "platform/resolver/HostResolver.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace brindle {

/// What a delegate hears of a failed look-up.
struct HostNameError {
    std::string domain; ///< "NSPOSIXErrorDomain", "kCFErrorDomainCFNetwork" …
    int code = 0;
    std::optional<int> addressInfoFailure; ///< the getaddrinfo code behind a failed host look-up

    friend bool operator==(const HostNameError&, const HostNameError&) = default;
};

/// Given to `stop` by a client that has waited long enough.
HostNameError userCancelledError();
HostNameError hostNameError(const platform::StreamError& error);

class HostNameQuery;

class HostNameQueryDelegate {
  public:
    virtual ~HostNameQueryDelegate() = default;
    /// `names` in the order of the name service.
    virtual void didCompleteWithNames(const std::vector<std::string>& names,
                                      HostNameQuery& query) = 0;
    virtual void didCompleteWithError(const HostNameError& error, HostNameQuery& query) = 0;
};

class HostNameQuery : public std::enable_shared_from_this<HostNameQuery> {
  public:
    enum class Notify { no, yes };

    /// `ip`: the text being resolved; `refParameter`: the field it serves ("srcip", "dstip",
    /// "label"). `resolver` outlives the query. Nothing starts yet.
    static std::shared_ptr<HostNameQuery> create(platform::HostResolver& resolver,
                                                 platform::SocketAddress address, std::string ip,
                                                 std::string refParameter);

    /// Once at the most. A look-up that cannot start reports its error before this returns.
    void start();
    /// Ends the look-up at once. With an error and `Notify::yes` the delegate hears of it.
    void stop(std::optional<HostNameError> error, Notify notify);
    bool isRunning() const { return running_; }

    /// Held weakly; an empty one means nobody is told.
    void setDelegate(std::weak_ptr<HostNameQueryDelegate> delegate) {
        delegate_ = std::move(delegate);
    }
    const std::string& ip() const { return ip_; }
    const std::string& refParameter() const { return refParameter_; }

  private:
    HostNameQuery(platform::HostResolver& resolver, platform::SocketAddress address, std::string ip,
                  std::string refParameter);
    void completed(std::optional<platform::StreamError> error, std::vector<std::string> names);

    platform::HostResolver& resolver_;
    const platform::SocketAddress address_;
    const std::string ip_;
    const std::string refParameter_;
    std::weak_ptr<HostNameQueryDelegate> delegate_;

    bool started_ = false;
    bool running_ = false;
    std::unique_ptr<platform::HostLookup> lookup_;
    std::vector<std::string> names_;
    std::shared_ptr<HostNameQuery> self_; ///< while it runs
};

} // namespace brindle
