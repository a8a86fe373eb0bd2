// SPDX-License-Identifier: BSD-2-Clause
#include "platform/identity/LocalAccounts.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string_view>

namespace brindle::platform {
namespace {

/// The parts of one database line, empty ones included.
std::vector<std::string> split(std::string_view line, char separator) {
    std::vector<std::string> parts;
    while (true) {
        const auto end = line.find(separator);
        parts.emplace_back(line.substr(0, end));
        if (end == line.npos)
            return parts;
        line.remove_prefix(end + 1);
    }
}

/// An optional sign and digits, nothing else.
std::optional<std::int64_t> decimal(std::string_view text) {
    if (text.starts_with('+') && text.substr(1).find_first_of("+-") != 0)
        text.remove_prefix(1);
    std::int64_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || stop != end)
        return std::nullopt;
    return number;
}

/// Calls `take` with the fields of every entry that has at least `fields` of them.
template <typename Take>
void forEachEntry(const std::string& path, std::size_t fields, Take take) {
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        // "+" and "-" are orders to a name service, not entries.
        if (line.empty() || line.find_first_of("#+-:") == 0)
            continue;
        const auto parts = split(line, ':');
        if (parts.size() >= fields)
            take(parts);
    }
}

} // namespace

AccountIdRange accountIdRange(const std::string& loginDefs) {
    AccountIdRange range;
    std::ifstream file(loginDefs);
    for (std::string line; std::getline(file, line);) {
        std::istringstream words(line);
        std::string key, value;
        words >> key >> value;
        if (value.empty() || (key != "UID_MIN" && key != "UID_MAX"))
            continue;
        // Octal and hexadecimal numbers are allowed there.
        char* end = nullptr;
        const std::int64_t number = std::strtoll(value.c_str(), &end, 0);
        if (*end == '\0')
            (key == "UID_MIN" ? range.first : range.last) = number;
    }
    return range;
}

std::vector<LocalAccount> localAccounts(const IdentityPaths& paths) {
    const AccountIdRange range = accountIdRange(paths.loginDefs);
    std::vector<LocalAccount> accounts;
    // name:password:id:group:comment:home:shell
    forEachEntry(paths.passwd, 7, [&](const std::vector<std::string>& parts) {
        LocalAccount account;
        account.name = parts[0];
        account.id = decimal(parts[2]);
        account.gid = decimal(parts[3]);
        // The comment goes on with room and telephone numbers.
        account.fullName = split(parts[4], ',').front();
        account.home = parts[5];
        if (!account.id || (range.first <= *account.id && *account.id <= range.last))
            accounts.push_back(std::move(account));
    });
    return accounts;
}

std::vector<LocalGroup> localGroups(const IdentityPaths& paths) {
    std::vector<LocalGroup> groups;
    // name:password:id:members
    forEachEntry(paths.group, 4, [&](const std::vector<std::string>& parts) {
        LocalGroup group;
        group.name = parts[0];
        group.id = decimal(parts[2]);
        group.members = split(parts[3], ',');
        std::erase(group.members, std::string());
        groups.push_back(std::move(group));
    });
    return groups;
}

const LocalGroup* administratorsGroup(const std::vector<LocalGroup>& groups) {
    for (const char* name : {"sudo", "wheel", "admin"}) {
        const auto found = std::ranges::find(groups, name, &LocalGroup::name);
        if (found != groups.end())
            return &*found;
    }
    return nullptr;
}

bool isMemberOfGroup(const LocalAccount& account, const LocalGroup& group) {
    return (account.gid && account.gid == group.id) ||
           std::ranges::find(group.members, account.name) != group.members.end();
}

} // namespace brindle::platform
