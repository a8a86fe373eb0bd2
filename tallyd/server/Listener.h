// SPDX-License-Identifier: BSD-2-Clause
//
// The daemon's front door: listens on a socket in the file system, asks the kernel who connects,
// and hands each connection with what it may do to the server. Owned by tallyd's main; its accept
// thread lives as long as the object.
//
//     auto listener = Listener::create("/run/tallyd/tallyd.sock", *server);
#pragma once

#include "protocol/TallydServer.h"

#include <memory>
#include <string>

#include <tl/expected.hpp>

namespace brindle::tallyd {

class Listener {
  public:
    /// `server` outlives the listener. Errors name the path and the system's reason. Managing the
    /// store is for root and the user the daemon runs as when a connection arrives, so that the
    /// socket may be bound before privileges are dropped.
    static tl::expected<std::unique_ptr<Listener>, std::string> create(const std::string& path,
                                                                       TallydServer& server);
    /// Takes over a socket that listens already (socket activation); its file is left in place.
    static tl::expected<std::unique_ptr<Listener>, std::string> adopt(int listeningSocket,
                                                                      TallydServer& server);

    /// Stops accepting and removes the socket file that `create` made. Connections that were handed
    /// over stay with the server.
    virtual ~Listener() = default;
};

} // namespace brindle::tallyd
