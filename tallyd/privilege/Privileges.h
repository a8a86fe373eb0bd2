// SPDX-License-Identifier: BSD-2-Clause
//
// Gives up what only root may do. Called by tallyd's main while the process has one thread: rights
// are each thread's own, and later threads get what this one has.
//
//     handOver({"/var/lib/tallyd/store.sqlite"}, account);
//     becomeAccount(account);
#pragma once

#include "tallyd/privilege/Account.h"

#include <string>
#include <vector>

#include <tl/expected.hpp>

namespace brindle::tallyd {

/// Gives files of root to the account; others, and such as are not there, are left alone. Errors
/// name the file: one that is no regular file or has a second name is refused, as the folder may be
/// somebody else's, who put it there.
tl::expected<void, std::string> handOver(const std::vector<std::string>& files,
                                         const Account& account);

/// Becomes the account for good, with its groups. Of root's capabilities those stay that sources
/// need to open again what went away: CAP_NET_ADMIN (netfilter log groups), CAP_NET_RAW (capture
/// devices) and CAP_SYSLOG (the kernel's messages). No program that is started gets more. Error:
/// one line; the process must end then, as it may be halfway.
tl::expected<void, std::string> becomeAccount(const Account& account);

} // namespace brindle::tallyd
