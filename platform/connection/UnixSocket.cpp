// SPDX-License-Identifier: BSD-2-Clause
#include "platform/connection/UnixSocket.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <system_error>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace brindle::platform {

namespace {

std::string reason(int error) {
    return std::generic_category().message(error);
}

std::optional<sockaddr_un> addressOf(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof address.sun_path)
        return std::nullopt;
    std::memcpy(address.sun_path, path.c_str(), path.size());
    return address;
}

FileDescriptor streamSocket(int flags) {
    return FileDescriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | flags, 0));
}

int connectTo(const FileDescriptor& socket, const sockaddr_un& address) {
    const int result =
        ::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
    return result == 0 ? 0 : errno;
}

/// Makes room for a new socket at `path`: nothing on success, else why not.
std::optional<std::string> removeStaleSocket(const std::string& path, const sockaddr_un& address) {
    struct stat found {};
    if (::lstat(path.c_str(), &found) != 0)
        return errno == ENOENT ? std::nullopt : std::optional(reason(errno));
    if (!S_ISSOCK(found.st_mode))
        return "there is a file that is no socket";
    const FileDescriptor probe = streamSocket(SOCK_NONBLOCK);
    if (!probe.isOpen())
        return reason(errno);
    const int error = connectTo(probe, address);
    if (error == 0 || error == EAGAIN)
        return "another process listens there";
    if (error != ECONNREFUSED && error != ENOENT)
        return reason(error);
    if (::unlink(path.c_str()) != 0 && errno != ENOENT)
        return reason(errno);
    return std::nullopt;
}

} // namespace

void FileDescriptor::close() {
    if (fd_ >= 0)
        ::close(std::exchange(fd_, -1));
}

std::string daemonSocketPath() {
    const char* path = std::getenv("TALLYD_SOCKET");
    return path && *path ? path : "/run/tallyd/tallyd.sock";
}

tl::expected<FileDescriptor, std::string> connectUnix(const std::string& path) {
    const auto failure = [&path](const std::string& why) {
        return tl::unexpected("cannot connect to tallyd at " + path + ": " + why);
    };
    const auto address = addressOf(path);
    if (!address)
        return failure("the path is empty or too long for a socket");
    FileDescriptor socket = streamSocket(SOCK_NONBLOCK);
    if (!socket.isOpen())
        return failure(reason(errno));
    if (const int error = connectTo(socket, *address); error != 0)
        return failure(error == EAGAIN ? "too many connections are waiting" : reason(error));
    const int flags = ::fcntl(socket.get(), F_GETFL);
    if (flags < 0 || ::fcntl(socket.get(), F_SETFL, flags & ~O_NONBLOCK) != 0)
        return failure(reason(errno));
    return socket;
}

tl::expected<FileDescriptor, std::string> listenUnix(const std::string& path, mode_t mode) {
    const auto failure = [&path](const std::string& why) {
        return tl::unexpected("cannot listen at " + path + ": " + why);
    };
    const auto address = addressOf(path);
    if (!address)
        return failure("the path is empty or too long for a socket");
    if (const auto why = removeStaleSocket(path, *address))
        return failure(*why);
    FileDescriptor socket = streamSocket(0);
    if (!socket.isOpen())
        return failure(reason(errno));
    // The file is born with the socket's own mode less the umask: nobody gets in before the chmod
    // below who may not afterwards.
    if (::fchmod(socket.get(), mode) != 0 ||
        ::bind(socket.get(), reinterpret_cast<const sockaddr*>(&*address), sizeof *address) != 0)
        return failure(reason(errno));
    if (::chmod(path.c_str(), mode) != 0 || ::listen(socket.get(), SOMAXCONN) != 0) {
        const int error = errno;
        ::unlink(path.c_str());
        return failure(reason(error));
    }
    return socket;
}

tl::expected<FileDescriptor, std::string> acceptUnix(const FileDescriptor& listener) {
    for (;;) {
        FileDescriptor connection(::accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
        if (connection.isOpen())
            return connection;
        if (errno == EINTR || errno == ECONNABORTED)
            continue;
        if (errno == EINVAL)
            return tl::unexpected(std::string("cannot accept: the listener was shut down"));
        return tl::unexpected("cannot accept a connection: " + reason(errno));
    }
}

tl::expected<PeerCredentials, std::string> peerCredentials(const FileDescriptor& connection) {
    ucred credentials{};
    socklen_t size = sizeof credentials;
    if (::getsockopt(connection.get(), SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0)
        return tl::unexpected("cannot tell who connected: " + reason(errno));
    PeerCredentials peer{credentials.uid, credentials.gid, credentials.pid, {}};
    // The kernel tells the size it needs when the buffer is too small.
    peer.groups.resize(32);
    for (;;) {
        size = static_cast<socklen_t>(peer.groups.size() * sizeof(gid_t));
        const int result =
            ::getsockopt(connection.get(), SOL_SOCKET, SO_PEERGROUPS, peer.groups.data(), &size);
        const bool tooSmall = result != 0 && errno == ERANGE;
        peer.groups.resize(result == 0 || tooSmall ? size / sizeof(gid_t) : 0);
        if (!tooSmall)
            return peer;
    }
}

} // namespace brindle::platform
