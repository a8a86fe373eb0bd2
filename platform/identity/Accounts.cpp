// SPDX-License-Identifier: BSD-2-Clause
#include "platform/identity/Accounts.h"

#include <cerrno>
#include <vector>

#include <grp.h>
#include <pwd.h>

namespace brindle::platform {

namespace {

/// Calls one of the reentrant database functions, with a larger buffer while it asks for one.
template <typename Entry, typename LookUp>
std::optional<Entry> find(LookUp lookUp, auto take) {
    typename std::vector<char>::size_type size = 1024;
    constexpr decltype(size) kLargest = 1 << 24;
    for (std::vector<char> buffer(size); size <= kLargest; buffer.resize(size)) {
        auto [error, entry] = lookUp(buffer);
        if (error == ERANGE) {
            size *= 4;
            continue;
        }
        if (error == EINTR)
            continue;
        return entry ? std::optional<Entry>(take(*entry)) : std::nullopt;
    }
    return std::nullopt;
}

} // namespace

std::string accountName(std::uint32_t uid) {
    passwd account{};
    return find<std::string>(
               [&](std::vector<char>& buffer) {
                   passwd* found = nullptr;
                   const int error =
                       ::getpwuid_r(uid, &account, buffer.data(), buffer.size(), &found);
                   return std::pair(error, found);
               },
               [](const passwd& entry) { return std::string(entry.pw_name); })
        .value_or(std::string());
}

std::optional<gid_t> groupId(const std::string& name) {
    group entry{};
    return find<gid_t>(
        [&](std::vector<char>& buffer) {
            group* found = nullptr;
            const int error =
                ::getgrnam_r(name.c_str(), &entry, buffer.data(), buffer.size(), &found);
            return std::pair(error, found);
        },
        [](const group& g) { return g.gr_gid; });
}

std::optional<uid_t> userId(const std::string& name) {
    passwd account{};
    return find<uid_t>(
        [&](std::vector<char>& buffer) {
            passwd* found = nullptr;
            const int error =
                ::getpwnam_r(name.c_str(), &account, buffer.data(), buffer.size(), &found);
            return std::pair(error, found);
        },
        [](const passwd& entry) { return entry.pw_uid; });
}

} // namespace brindle::platform
