// SPDX-License-Identifier: BSD-2-Clause
//
// The people who have an account on this machine, and its groups, as the password and group files
// list them. The files are read directly: a name service behind the databases could hold the caller
// for seconds, and what it knows beyond them are not local accounts. Pure reading; any thread.
//
//     for (const LocalAccount& account : localAccounts({})) ...
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace brindle::platform {

/// Where the identities of a machine are kept.
struct IdentityPaths {
    std::string passwd = "/etc/passwd";
    std::string group = "/etc/group";
    std::string loginDefs = "/etc/login.defs";
    std::string accountsService = "/var/lib/AccountsService"; ///< directory
};

struct LocalAccount {
    std::string name;                ///< login name
    std::string fullName;            ///< empty when the entry has none
    std::string home;                ///< home directory
    std::optional<std::int64_t> id;  ///< nothing when the entry holds no number
    std::optional<std::int64_t> gid; ///< of the primary group; nothing likewise
};

struct LocalGroup {
    std::string name;
    std::optional<std::int64_t> id;
    std::vector<std::string> members; ///< login names; those with it as primary group are not among
};

/// The ids of people's accounts, both bounds included.
struct AccountIdRange {
    std::int64_t first = 1000;
    std::int64_t last = 60000;
};

/// UID_MIN and UID_MAX; the usual bounds where the file does not tell them.
AccountIdRange accountIdRange(const std::string& loginDefs);

/// Accounts of people in the order of the file: system accounts are left out, an account whose id
/// cannot be read is not taken for one. Empty when there is no such file.
std::vector<LocalAccount> localAccounts(const IdentityPaths& paths);

/// Every group in the order of the file; empty when there is no such file.
std::vector<LocalGroup> localGroups(const IdentityPaths& paths);

/// The group whose members administer the machine: "sudo", "wheel" or "admin", whichever exists
/// first in this order; null when none does.
const LocalGroup* administratorsGroup(const std::vector<LocalGroup>& groups);

/// As primary group or by being listed.
bool isMemberOfGroup(const LocalAccount& account, const LocalGroup& group);

} // namespace brindle::platform
