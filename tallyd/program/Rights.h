// SPDX-License-Identifier: BSD-2-Clause
//
// What `serve` gives up once it has opened what needs root, and the socket that it makes before
// that. Called on the main thread before any other starts.
#pragma once

#include "platform/connection/UnixSocket.h"
#include "tallyd/program/Options.h"

#include <cstddef>
#include <string>

#include <sys/types.h>
#include <tl/expected.hpp>

namespace brindle::tallyd {

/// Started as root: gives the store's files to the account of the daemon and becomes it, with the
/// system calls it needs. Stays what it is without such an account, which it says, when it was
/// started otherwise, or when it is that user already. Error: one line; the process must end.
tl::expected<void, std::string> giveUpRights(const ServeOptions& options);

/// Each connection is a descriptor: asks the system for as many and what the daemon needs besides.
/// Where it has fewer, which is a line in the log, later clients wait.
void makeRoomForDescriptors(std::size_t connections);

/// The socket that requests come in by: the service manager's, or one of our own, whose file goes
/// with this object.
class DoorSocket {
  public:
    DoorSocket() = default;
    DoorSocket(const DoorSocket&) = delete;
    DoorSocket& operator=(const DoorSocket&) = delete;
    ~DoorSocket();

    /// Error: one line naming the path. It may be tried again, as root or as the daemon's user:
    /// which of them may write to the folder depends on how the machine is set up.
    tl::expected<void, std::string> open(const std::string& path);
    bool isOpen() const { return socket_.isOpen(); }
    /// Gives the descriptor up to the caller; the file stays ours.
    int release() { return socket_.release(); }

  private:
    platform::FileDescriptor socket_;
    std::string path_; ///< empty: the file is not ours
    dev_t device_ = 0;
    ino_t inode_ = 0;
};

} // namespace brindle::tallyd
