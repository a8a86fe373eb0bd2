// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/server/PeerPolicy.h"

#include <algorithm>

#include <fmt/format.h>

namespace brindle::tallyd {

PeerAccess PeerPolicy::access(const platform::PeerCredentials& peer,
                              const std::string& peerName) const {
    const std::string who = peerName.empty() ? fmt::format("uid {}", peer.uid) : peerName;
    const bool manages = peer.uid == 0 || peer.uid == daemonUser;
    const bool member = readersGroup && (peer.gid == *readersGroup ||
                                         std::find(peer.groups.begin(), peer.groups.end(),
                                                   *readersGroup) != peer.groups.end());
    PeerAccess access{.mayRead = manages || member,
                      .mayManage = manages,
                      .refusal = {},
                      .manageRefusal = {},
                      .user = peer.uid};
    if (!access.mayRead && !readersGroup)
        access.refusal = fmt::format(
            "user {} is not allowed to read the log: there is no group {} on this machine", who,
            kReadersGroup);
    else if (!access.mayRead)
        access.refusal = fmt::format(
            "user {0} is not allowed to read the log: not a member of the group {1} (root "
            "helps with \"adduser USER {1}\", then a new login)",
            who, kReadersGroup);
    if (!access.mayManage)
        access.manageRefusal = fmt::format(
            "user {} is not allowed to change the log: that is for root and the daemon's own user",
            who);
    return access;
}

} // namespace brindle::tallyd
