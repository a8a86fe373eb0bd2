// SPDX-License-Identifier: BSD-2-Clause
#include "core/annotate/HostNameQuery.h"

#include <cassert>
#include <utility>

namespace brindle {
namespace {

constexpr const char* kNetworkDomain = "kCFErrorDomainCFNetwork";
/// The network domain's code for a host look-up that failed for a reason of the name service.
constexpr int kHostErrorUnknown = 2;

} // namespace

HostNameError userCancelledError() {
    return {"NSCocoaErrorDomain", 3072, std::nullopt};
}

HostNameError hostNameError(const platform::StreamError& error) {
    using Domain = platform::StreamError::Domain;
    switch (error.domain) {
    case Domain::posix:
        return {"NSPOSIXErrorDomain", error.code, std::nullopt};
    case Domain::osStatus:
        return {"NSOSStatusErrorDomain", error.code, std::nullopt};
    case Domain::netDatabase:
        return {kNetworkDomain, kHostErrorUnknown, error.code};
    case Domain::netServices:
    case Domain::other:
        break;
    }
    return {kNetworkDomain, error.code, std::nullopt};
}

std::shared_ptr<HostNameQuery> HostNameQuery::create(platform::HostResolver& resolver,
                                                     platform::SocketAddress address,
                                                     std::string ip, std::string refParameter) {
    return std::shared_ptr<HostNameQuery>(
        new HostNameQuery(resolver, std::move(address), std::move(ip), std::move(refParameter)));
}

HostNameQuery::HostNameQuery(platform::HostResolver& resolver, platform::SocketAddress address,
                             std::string ip, std::string refParameter)
    : resolver_(resolver), address_(std::move(address)), ip_(std::move(ip)),
      refParameter_(std::move(refParameter)) {}

void HostNameQuery::start() {
    assert(!started_);
    if (std::exchange(started_, true))
        return;
    running_ = true;
    self_ = shared_from_this();
    auto lookup = resolver_.startNames(
        address_, [weak = weak_from_this()](std::optional<platform::StreamError> error,
                                            std::vector<std::string> names) {
            if (const auto query = weak.lock())
                query->completed(error, std::move(names));
        });
    if (lookup)
        lookup_ = std::move(*lookup);
    else
        stop(hostNameError(lookup.error()), Notify::yes);
}

void HostNameQuery::completed(std::optional<platform::StreamError> error,
                              std::vector<std::string> names) {
    if (!error && names.empty()) // an answer without a name is no answer
        error = platform::StreamError{platform::StreamError::Domain::other, kHostErrorUnknown};
    names_ = std::move(names);
    stop(error ? std::optional(hostNameError(*error)) : std::nullopt, Notify::yes);
}

void HostNameQuery::stop(std::optional<HostNameError> error, Notify notify) {
    if (!std::exchange(running_, false))
        return;
    const std::shared_ptr<HostNameQuery> self = std::exchange(self_, nullptr);
    lookup_.reset();
    if (notify == Notify::no)
        return;
    const std::shared_ptr<HostNameQueryDelegate> delegate = delegate_.lock();
    if (!delegate)
        return;
    if (error)
        delegate->didCompleteWithError(*error, *this);
    else
        delegate->didCompleteWithNames(names_, *this);
}

} // namespace brindle
