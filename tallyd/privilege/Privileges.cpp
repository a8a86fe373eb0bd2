// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/privilege/Privileges.h"

#include <cerrno>
#include <cstdint>
#include <system_error>

#include <fcntl.h>
#include <fmt/format.h>
#include <grp.h>
#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace brindle::tallyd {

namespace {

using Outcome = tl::expected<void, std::string>;

Outcome failed(std::string_view what) {
    return tl::unexpected(
        fmt::format("cannot {}: {}", what, std::generic_category().message(errno)));
}

constexpr std::uint64_t bit(int capability) {
    return std::uint64_t{1} << capability;
}

constexpr std::uint64_t kKept = bit(CAP_NET_ADMIN) | bit(CAP_NET_RAW) | bit(CAP_SYSLOG);

// The C library has no functions for these two.
bool readCapabilities(std::uint64_t& permitted) {
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct data[_LINUX_CAPABILITY_U32S_3]{};
    if (::syscall(SYS_capget, &header, data) != 0)
        return false;
    permitted = std::uint64_t{data[1].permitted} << 32 | data[0].permitted;
    return true;
}

bool setCapabilities(std::uint64_t all) {
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct data[_LINUX_CAPABILITY_U32S_3]{};
    data[0].permitted = data[0].effective = static_cast<std::uint32_t>(all);
    data[1].permitted = data[1].effective = static_cast<std::uint32_t>(all >> 32);
    return ::syscall(SYS_capset, &header, data) == 0;
}

/// What no program that is started could ever get. A service manager may have done it, and may have
/// taken the right to do it.
void limitCapabilities(std::uint64_t kept) {
    for (int capability = 0; capability < 64; ++capability)
        if ((kept & bit(capability)) == 0 && ::prctl(PR_CAPBSET_DROP, capability, 0, 0, 0) != 0 &&
            errno == EINVAL)
            return; // beyond the last that the kernel knows
}

/// By descriptor: the name may stand for something else a moment later.
Outcome handFileOver(const std::string& path, const Account& account) {
    const int file = ::open(path.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC);
    if (file < 0)
        return errno == ENOENT ? Outcome() : failed("look at " + path);
    struct stat status {};
    Outcome outcome;
    if (::fstat(file, &status) != 0)
        outcome = failed("look at " + path);
    else if (status.st_uid != 0)
        outcome = {};
    else if (!S_ISREG(status.st_mode) || status.st_nlink != 1)
        outcome = tl::unexpected(path + ": not a regular file with one name");
    else if (::fchownat(file, "", account.user, account.group, AT_EMPTY_PATH) != 0)
        outcome = failed("give " + path + " to user " + account.name);
    ::close(file);
    return outcome;
}

} // namespace

Outcome handOver(const std::vector<std::string>& files, const Account& account) {
    for (const std::string& file : files)
        if (auto outcome = handFileOver(file, account); !outcome)
            return outcome;
    return {};
}

Outcome becomeAccount(const Account& account) {
    const std::string become = "become user " + account.name;
    std::uint64_t permitted = 0;
    if (!readCapabilities(permitted))
        return failed("read the capabilities");
    const std::uint64_t kept = permitted & kKept;
    limitCapabilities(kept);
    // Otherwise the change of the user takes all of them.
    if (::prctl(PR_SET_KEEPCAPS, 1, 0, 0, 0) != 0)
        return failed("keep capabilities");
    if (::setgroups(account.groups.size(), account.groups.data()) != 0 ||
        ::setresgid(account.group, account.group, account.group) != 0 ||
        ::setresuid(account.user, account.user, account.user) != 0)
        return failed(become);
    if (!setCapabilities(kept))
        return failed("give up capabilities");
    ::prctl(PR_SET_KEEPCAPS, 0, 0, 0, 0);
    ::prctl(PR_CAP_AMBIENT, PR_CAP_AMBIENT_CLEAR_ALL, 0, 0, 0);
    if (::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0)
        return failed("give up new rights");
    if (account.user != 0 && ::setresuid(0, 0, 0) == 0)
        return tl::unexpected("cannot " + become + ": root can be had again");
    return {};
}

} // namespace brindle::tallyd
