// SPDX-License-Identifier: BSD-2-Clause
//
// A real socket in the file system, from the client's connector to the service.
#include "tallyd/server/Listener.h"

#include "platform/connection/UnixSocket.h"
#include "tests/protocol/FakeDaemon.h"

#include <cstdlib>
#include <cstring>
#include <filesystem>

#include <gmock/gmock.h>
#include <grp.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>

using namespace brindle;
using namespace brindle::test;
using tallyd::Listener;
namespace fs = std::filesystem;

namespace {

class Listening : public testing::Test {
  protected:
    Listening() {
        std::string name = (fs::temp_directory_path() / "listener-XXXXXX").string();
        folder = ::mkdtemp(name.data());
        fs::permissions(folder, fs::perms(0755));
        path = (folder / "d.sock").string();
    }
    ~Listening() override { fs::remove_all(folder); }

    Connector connector() const {
        return [path = path]() -> tl::expected<int, std::string> {
            auto socket = platform::connectUnix(path);
            if (!socket)
                return tl::unexpected(socket.error());
            return socket->release();
        };
    }
    /// The version, or the error in its place.
    std::string versionOrError() const {
        Client client(connector());
        Inbox<std::string> version;
        client.synchronous()->getVersionWithReply([&](std::string text) { version.put(text); });
        const auto errors = client.errors.now();
        return errors.empty() ? version.now().at(0) : errors.at(0);
    }

    fs::path folder;
    std::string path;
    FakeService service;
    std::unique_ptr<TallydServer> server = makeTallydServer(service);
};

/// A connection that another user made: the kernel remembers who, and a child hands it over. The
/// child makes system calls only.
int connectAs(uid_t user, const std::string& path) {
    int ends[2];
    EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    char byte = 0;
    iovec data{&byte, 1};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))]{};
    msghdr message{};
    message.msg_iov = &data;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    const pid_t child = ::fork();
    if (child == 0) {
        const int socket = ::socket(AF_UNIX, SOCK_STREAM, 0);
        if (::setgroups(0, nullptr) != 0 || ::setgid(user) != 0 || ::setuid(user) != 0 ||
            ::connect(socket, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0)
            ::_exit(1);
        cmsghdr* header = CMSG_FIRSTHDR(&message);
        header->cmsg_level = SOL_SOCKET;
        header->cmsg_type = SCM_RIGHTS;
        header->cmsg_len = CMSG_LEN(sizeof socket);
        std::memcpy(CMSG_DATA(header), &socket, sizeof socket);
        ::_exit(::sendmsg(ends[1], &message, 0) == 1 ? 0 : 1);
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    int socket = -1;
    if (status == 0 && ::recvmsg(ends[0], &message, 0) == 1)
        std::memcpy(&socket, CMSG_DATA(CMSG_FIRSTHDR(&message)), sizeof socket);
    ::close(ends[0]);
    ::close(ends[1]);
    return socket;
}

} // namespace

TEST_F(Listening, clientsComeInUntilItIsGoneAndItsFileWithIt) {
    for (int round = 0; round < 2; ++round) {
        auto listener = Listener::create(path, *server);
        ASSERT_TRUE(listener) << listener.error();
        EXPECT_EQ(versionOrError(), "1.2.3");
        Client staying(connector());
        staying.synchronous()->purgeLogDBWithEndDate(round); // the daemon's own user may
        listener->reset();
        EXPECT_FALSE(fs::exists(path));
        EXPECT_EQ(versionOrError(),
                  "cannot connect to tallyd at " + path + ": No such file or directory");
        staying.synchronous()->purgeLogDBWithEndDate(10 + round);
        EXPECT_EQ(staying.errors.now(), std::vector<std::string>{});
    }
    EXPECT_EQ(service.purged.now(), (std::vector<double>{0, 10, 1, 11}));
}

TEST_F(Listening, anAddressInUseIsAnErrorAndTheOtherGoesOn) {
    const auto first = Listener::create(path, *server);
    ASSERT_TRUE(first);
    EXPECT_EQ(Listener::create(path, *server).error(),
              "cannot listen at " + path + ": another process listens there");
    EXPECT_EQ(versionOrError(), "1.2.3");
}

TEST_F(Listening, aSocketThatWasHandedInStaysWhereItIs) {
    auto socket = platform::listenUnix(path, 0666);
    ASSERT_TRUE(socket);
    const platform::FileDescriptor kept(::dup(socket->get()));
    auto listener = Listener::adopt(socket->release(), *server);
    ASSERT_TRUE(listener) << listener.error();
    EXPECT_EQ(versionOrError(), "1.2.3");
    listener->reset();
    EXPECT_TRUE(fs::is_socket(path));
    // Whoever handed it in can still accept on it.
    const auto client = platform::connectUnix(path);
    ASSERT_TRUE(client) << client.error();
    EXPECT_TRUE(platform::acceptUnix(kept));
}

TEST_F(Listening, aUserOutsideTheGroupIsToldWhatIsMissing) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "needs root, to connect as another user";
    const auto listener = Listener::create(path, *server);
    ASSERT_TRUE(listener) << listener.error();
    const int socket = connectAs(65534, path);
    ASSERT_GE(socket, 0);
    Client client([socket]() -> tl::expected<int, std::string> { return socket; });
    client.synchronous()->getVersionWithReply([](auto) { ADD_FAILURE(); });
    ASSERT_EQ(client.errors.now().size(), 1u);
    EXPECT_THAT(
        client.errors.now()[0],
        testing::StartsWith("the daemon refused: user nobody is not allowed to read the log: "));
}
