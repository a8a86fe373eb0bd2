// SPDX-License-Identifier: BSD-2-Clause
//
// Reverse resolution: the host names of a socket address. Look-ups are started, cancelled and
// completed on the main thread; the name service is asked elsewhere, so a server that is slow or
// silent is never felt. Tests hand in a resolver of their own.
//
//     lookup_ = resolver.startNames(address, [this](auto error, auto names) { … });
//     lookup_.reset();   // abandons it: the completion does not run any more
#pragma once

#include "platform/queue/DispatchQueue.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <tl/expected.hpp>

namespace brindle::platform {

/// The bytes of a sockaddr_in or sockaddr_in6.
using SocketAddress = std::vector<std::uint8_t>;

/// The socket address of numeric IPv4 or IPv6 text, without asking any name service; nothing for
/// other text.
std::optional<SocketAddress> socketAddressData(const std::string& text);

/// Why a look-up failed: a code in the terms of the layer that failed.
struct StreamError {
    enum class Domain { posix = 1, osStatus = 2, netServices, netDatabase, other };
    Domain domain = Domain::other;
    int code = 0; ///< posix: errno; netDatabase: a getaddrinfo EAI_ code

    friend bool operator==(const StreamError&, const StreamError&) = default;
};

/// A look-up that is waiting or under way. Destroying it abandons it.
class HostLookup {
  public:
    virtual ~HostLookup() = default;
};

class HostResolver {
  public:
    /// Exactly one of an error and at least one name, in the order the name service gave them.
    using Completion =
        std::function<void(std::optional<StreamError> error, std::vector<std::string> names)>;

    virtual ~HostResolver() = default;
    /// Main thread, as is the completion, which never runs within this call.
    virtual tl::expected<std::unique_ptr<HostLookup>, StreamError>
    startNames(const SocketAddress& address, Completion completion) = 0;
};

struct ResolverOptions {
    std::string server;         ///< "address:port" instead of the system's name servers
    std::size_t inFlight = 128; ///< questions asked and not yet answered; the rest waits its turn
    int timeoutMilliseconds = 2500; ///< for one try of one question
    int tries = 2;
    std::string hostsFile = "/etc/hosts"; ///< asked first; empty: not asked
};

/// Asks the system's name servers (PTR) on a thread of its own. Error: one line.
tl::expected<std::unique_ptr<HostResolver>, std::string>
makeHostResolver(std::shared_ptr<DispatchQueue> main, ResolverOptions options = {});

} // namespace brindle::platform
