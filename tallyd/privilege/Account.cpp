// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/privilege/Account.h"

#include "platform/identity/Accounts.h"

#include <algorithm>
#include <array>

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

namespace brindle::tallyd {

namespace {

constexpr const char* kLogReaders[] = {"adm", "systemd-journal"};

std::vector<gid_t> groupsOf(const std::string& name, gid_t group) {
    std::vector<gid_t> groups(64);
    for (;;) {
        int count = static_cast<int>(groups.size());
        const bool isAll = ::getgrouplist(name.c_str(), group, groups.data(), &count) >= 0;
        groups.resize(static_cast<std::size_t>(count));
        if (isAll)
            return groups;
    }
}

} // namespace

std::optional<Account> findAccount(const std::string& name) {
    passwd entry{};
    passwd* found = nullptr;
    std::array<char, 16384> buffer{};
    if (::getpwnam_r(name.c_str(), &entry, buffer.data(), buffer.size(), &found) != 0 || !found)
        return std::nullopt;
    Account account{name, entry.pw_uid, entry.pw_gid, groupsOf(name, entry.pw_gid)};
    for (const char* reader : kLogReaders)
        if (const auto id = platform::groupId(reader);
            id &&
            std::find(account.groups.begin(), account.groups.end(), *id) == account.groups.end())
            account.groups.push_back(*id);
    return account;
}

} // namespace brindle::tallyd
