// SPDX-License-Identifier: BSD-2-Clause
//
// The account that the daemon becomes when it was started as root. Looked up by tallyd's main
// before any thread starts.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace brindle::tallyd {

/// Who the daemon becomes unless it is told another name.
inline constexpr const char* kDaemonUser = "tallyd";

struct Account {
    std::string name;
    uid_t user = 0;
    gid_t group = 0;
    /// Its own groups, and those that may read logs (adm, systemd-journal) where the machine has
    /// them: sources open rotated files again.
    std::vector<gid_t> groups;
};

/// Nothing when the machine has no such user.
std::optional<Account> findAccount(const std::string& name);

} // namespace brindle::tallyd
