// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/server/Listener.h"

#include "platform/connection/UnixSocket.h"
#include "platform/identity/Accounts.h"
#include "tallyd/server/PeerPolicy.h"

#include <cerrno>
#include <chrono>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace brindle::tallyd {

namespace {

/// Anyone may connect: who may not read is told so, in words, instead of failing to open a file.
/// What each may do is decided by the kernel's word on who it is.
constexpr mode_t kSocketMode = 0666;

/// After an error that only time mends (no descriptors left).
constexpr std::chrono::milliseconds kPause{50};

using platform::FileDescriptor;

tl::expected<std::pair<FileDescriptor, FileDescriptor>, std::string> makePipe() {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0)
        return tl::unexpected("cannot make a pipe: " + std::generic_category().message(errno));
    return std::pair(FileDescriptor(ends[0]), FileDescriptor(ends[1]));
}

bool isSameUser(const platform::PeerCredentials& a, const platform::PeerCredentials& b) {
    return a.uid == b.uid && a.gid == b.gid && a.groups == b.groups;
}

class SocketListener final : public Listener {
  public:
    /// `path`: the socket file to remove at the end, empty for none.
    SocketListener(FileDescriptor listener, std::string path,
                   std::pair<FileDescriptor, FileDescriptor> stopPipe, TallydServer& server)
        : listener_(std::move(listener)), path_(std::move(path)),
          stopReader_(std::move(stopPipe.first)), stopWriter_(std::move(stopPipe.second)),
          server_(server) {
        rememberFile();
        thread_ = std::thread([this] { run(); });
    }

    ~SocketListener() override {
        stopWriter_.close(); // hangs the pipe up, which ends the wait
        thread_.join();
        removeFile();
    }

  private:
    void run() {
        // The listening socket may be another process's as well, so it is never shut down: the
        // thread waits for the pipe beside it.
        for (;;) {
            pollfd waiting[] = {{listener_.get(), POLLIN, 0}, {stopReader_.get(), POLLIN, 0}};
            const int ready = ::poll(waiting, 2, -1);
            if (waiting[1].revents != 0)
                return;
            if (ready <= 0 || waiting[0].revents == 0)
                continue;
            auto connection = platform::acceptUnix(listener_);
            if (connection)
                admit(std::move(*connection));
            else
                std::this_thread::sleep_for(kPause);
        }
    }

    void admit(FileDescriptor connection) {
        const auto peer = platform::peerCredentials(connection);
        if (!peer)
            return; // whom the kernel does not know is not let in
        server_.accept(connection.release(), accessOf(*peer));
    }

    /// The names of users and groups are asked of the system's databases, which takes longer than
    /// all the rest of a connection: one peer's many connections are looked up once a second.
    PeerAccess accessOf(const platform::PeerCredentials& peer) {
        constexpr std::chrono::seconds kGoodFor{1};
        const auto now = std::chrono::steady_clock::now();
        if (last_ && isSameUser(last_->peer, peer) && now - last_->asked < kGoodFor)
            return last_->access;
        const PeerPolicy policy{.daemonUser = ::geteuid(),
                                .readersGroup = platform::groupId(kReadersGroup)};
        last_ = Answer{peer, now, policy.access(peer, platform::accountName(peer.uid))};
        return last_->access;
    }

    void rememberFile() {
        struct stat file {};
        if (!path_.empty() && ::lstat(path_.c_str(), &file) == 0) {
            device_ = file.st_dev;
            inode_ = file.st_ino;
        }
    }
    /// Unless another daemon has put its own socket there.
    void removeFile() const {
        struct stat file {};
        if (!path_.empty() && ::lstat(path_.c_str(), &file) == 0 && file.st_dev == device_ &&
            file.st_ino == inode_)
            ::unlink(path_.c_str());
    }

    struct Answer {
        platform::PeerCredentials peer;
        std::chrono::steady_clock::time_point asked;
        PeerAccess access;
    };

    std::optional<Answer> last_; ///< of the thread
    FileDescriptor listener_;
    const std::string path_;
    FileDescriptor stopReader_;
    FileDescriptor stopWriter_;
    TallydServer& server_;
    dev_t device_ = 0;
    ino_t inode_ = 0;
    std::thread thread_;
};

} // namespace

tl::expected<std::unique_ptr<Listener>, std::string> Listener::create(const std::string& path,
                                                                      TallydServer& server) {
    auto stopPipe = makePipe();
    if (!stopPipe)
        return tl::unexpected(stopPipe.error());
    auto listener = platform::listenUnix(path, kSocketMode);
    if (!listener)
        return tl::unexpected(listener.error());
    return std::make_unique<SocketListener>(std::move(*listener), path, std::move(*stopPipe),
                                            server);
}

tl::expected<std::unique_ptr<Listener>, std::string> Listener::adopt(int listeningSocket,
                                                                     TallydServer& server) {
    FileDescriptor listener(listeningSocket);
    auto stopPipe = makePipe();
    if (!stopPipe)
        return tl::unexpected(stopPipe.error());
    return std::make_unique<SocketListener>(std::move(listener), std::string(),
                                            std::move(*stopPipe), server);
}

} // namespace brindle::tallyd
