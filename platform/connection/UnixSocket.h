// SPDX-License-Identifier: BSD-2-Clause
//
// Local stream sockets: the endpoint of the daemon. A descriptor is owned by one object; errors are
// one-line texts that name the path and the system's reason.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <sys/types.h>
#include <tl/expected.hpp>

namespace brindle::platform {

/// Owns a file descriptor and closes it.
class FileDescriptor {
  public:
    FileDescriptor() = default;
    explicit FileDescriptor(int fd) : fd_(fd) {}
    FileDescriptor(FileDescriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        if (this != &other) {
            close();
            fd_ = std::exchange(other.fd_, -1);
        }
        return *this;
    }
    ~FileDescriptor() { close(); }

    int get() const { return fd_; }
    bool isOpen() const { return fd_ >= 0; }
    /// Gives the descriptor up to the caller.
    int release() { return std::exchange(fd_, -1); }
    void close();

  private:
    int fd_ = -1;
};

/// `$TALLYD_SOCKET`, or "/run/tallyd/tallyd.sock".
std::string daemonSocketPath();

/// A connected stream socket, close-on-exec. Never waits: a listener whose queue is full is an
/// error.
tl::expected<FileDescriptor, std::string> connectUnix(const std::string& path);

/// A listening socket at `path` with the given mode. A socket left behind by a process that is gone
/// is replaced; one that still answers, or a file that is no socket, is an error.
tl::expected<FileDescriptor, std::string> listenUnix(const std::string& path, mode_t mode);

/// The next connection of a listening socket; waits for one. An error when the listener was shut
/// down.
tl::expected<FileDescriptor, std::string> acceptUnix(const FileDescriptor& listener);

/// Who is at the other end, as the kernel recorded it when the connection was made.
struct PeerCredentials {
    uid_t uid = 0;
    gid_t gid = 0;
    pid_t pid = 0;
    std::vector<gid_t> groups; ///< supplementary groups; empty where the kernel cannot tell
};
tl::expected<PeerCredentials, std::string> peerCredentials(const FileDescriptor& connection);

} // namespace brindle::platform
