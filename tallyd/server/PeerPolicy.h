// SPDX-License-Identifier: BSD-2-Clause
//
// Who may ask the daemon what. The log shows which user talked to which address, so reading it is
// for root, the daemon's own user and the members of one group; what changes the store is for the
// first two alone. A pure function: what the system says about users and groups is handed in.
#pragma once

#include "platform/connection/UnixSocket.h"
#include "protocol/TallydServer.h"

#include <optional>
#include <string>

#include <sys/types.h>

namespace brindle::tallyd {

/// The group whose members may read the log.
inline constexpr const char* kReadersGroup = "tallyd";

struct PeerPolicy {
    uid_t daemonUser = 0;              ///< the uid the daemon runs as
    std::optional<gid_t> readersGroup; ///< nothing where the machine has no such group

    /// `peerName`: the peer's login name, empty when it has none; used in the refusals only.
    PeerAccess access(const platform::PeerCredentials& peer, const std::string& peerName) const;
};

} // namespace brindle::tallyd
