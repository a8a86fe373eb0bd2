// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/program/Rights.h"

#include "tallyd/privilege/Privileges.h"
#include "tallyd/privilege/SystemCalls.h"
#include "tallyd/program/ServiceManager.h"
#include "tallyd/store/StoreFiles.h"

#include <algorithm>
#include <filesystem>

#include <fmt/format.h>
#include <spdlog/spdlog.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace brindle::tallyd {

namespace {

/// Anyone may connect: who may not read is told so by the daemon.
constexpr mode_t kSocketMode = 0666;

std::vector<std::string> storeFiles(const std::string& store) {
    return {store, store + kLogSuffix, store + kLogIndexSuffix, store + "-journal"};
}

tl::expected<void, std::string> checkFolder(const std::string& store, const Account& account) {
    const std::string folder = std::filesystem::path(store).parent_path().string();
    // The store's own files come and go beside it.
    if (::eaccess(folder.empty() ? "." : folder.c_str(), W_OK | X_OK) == 0)
        return {};
    return tl::unexpected(fmt::format("cannot open store {}: user {} may not write to its folder",
                                      store, account.name));
}

} // namespace

tl::expected<void, std::string> giveUpRights(const ServeOptions& options) {
    const auto& named = options.request.user;
    const std::string name = named.value_or(kDaemonUser);
    const bool isRoot = ::geteuid() == 0;
    if (!isRoot && !named)
        return {};
    const auto account = findAccount(name);
    if (!account && named)
        return tl::unexpected(fmt::format("there is no user \"{}\"", name));
    if (!account) {
        // Who starts it by hand as root knows; nobody looks at a service.
        if (isService())
            spdlog::warn("there is no user \"{}\": root's rights are kept", name);
        return {};
    }
    if (account->user == ::geteuid())
        return {};
    if (!isRoot)
        return tl::unexpected(fmt::format("only root can become user \"{}\"", name));

    if (const auto given = handOver(storeFiles(options.store), *account); !given)
        return given;
    if (const auto become = becomeAccount(*account); !become)
        return become;
    if (const auto restricted = restrictSystemCalls(); !restricted)
        spdlog::warn("{}", restricted.error());
    return checkFolder(options.store, *account);
}

void makeRoomForDescriptors(std::size_t connections) {
    // The store's files, sources with theirs, and what libraries open.
    constexpr rlim_t kOthers = 256;
    const rlim_t needed = connections + kOthers;
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur >= needed)
        return;
    limit.rlim_cur = std::min(needed, limit.rlim_max);
    ::setrlimit(RLIMIT_NOFILE, &limit);
    if (limit.rlim_cur < needed)
        spdlog::warn("the system allows {} descriptors: not enough for {} connections",
                     limit.rlim_cur, connections);
}

tl::expected<void, std::string> DoorSocket::open(const std::string& path) {
    if (const auto inherited = inheritedSocket()) {
        socket_ = platform::FileDescriptor(*inherited);
        return {};
    }
    auto socket = platform::listenUnix(path, kSocketMode);
    if (!socket)
        return tl::unexpected(socket.error());
    socket_ = std::move(*socket);
    struct stat file {};
    if (::lstat(path.c_str(), &file) == 0) {
        path_ = path;
        device_ = file.st_dev;
        inode_ = file.st_ino;
    }
    return {};
}

DoorSocket::~DoorSocket() {
    struct stat file {};
    // Unless another daemon has put its own socket there.
    if (!path_.empty() && ::lstat(path_.c_str(), &file) == 0 && file.st_dev == device_ &&
        file.st_ino == inode_)
        ::unlink(path_.c_str());
}

} // namespace brindle::tallyd
