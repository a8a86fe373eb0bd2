// SPDX-License-Identifier: BSD-2-Clause
#include "platform/connection/UnixSocket.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace brindle::platform;
namespace fs = std::filesystem;

namespace {

class UnixSocket : public testing::Test {
  protected:
    UnixSocket() {
        std::string name = (fs::temp_directory_path() / "socket-XXXXXX").string();
        folder = ::mkdtemp(name.data());
        path = (folder / "d.sock").string();
    }
    ~UnixSocket() override { fs::remove_all(folder); }
    fs::path folder;
    std::string path;
};

bool closesOnExec(const FileDescriptor& fd) {
    return (::fcntl(fd.get(), F_GETFD) & FD_CLOEXEC) != 0;
}

} // namespace

TEST_F(UnixSocket, bytesCrossAndTheKernelTellsWhoConnected) {
    const auto listener = listenUnix(path, 0600);
    ASSERT_TRUE(listener) << listener.error();
    struct stat file {};
    ASSERT_EQ(::lstat(path.c_str(), &file), 0);
    EXPECT_EQ(file.st_mode & 0777, 0600u);
    const auto client = connectUnix(path);
    ASSERT_TRUE(client) << client.error();
    const auto accepted = acceptUnix(*listener);
    ASSERT_TRUE(accepted) << accepted.error();
    for (const auto* fd : {&*listener, &*client, &*accepted})
        EXPECT_TRUE(closesOnExec(*fd));
    ASSERT_EQ(::write(client->get(), "x", 1), 1);
    char byte = 0;
    ASSERT_EQ(::read(accepted->get(), &byte, 1), 1); // waits: the sockets are blocking ones
    EXPECT_EQ(byte, 'x');
    const auto peer = peerCredentials(*accepted);
    ASSERT_TRUE(peer) << peer.error();
    EXPECT_EQ(peer->uid, ::geteuid());
    EXPECT_EQ(peer->gid, ::getegid());
    EXPECT_EQ(peer->pid, ::getpid());
    std::vector<gid_t> groups(static_cast<std::size_t>(::getgroups(0, nullptr)));
    ASSERT_GE(::getgroups(static_cast<int>(groups.size()), groups.data()), 0);
    std::sort(groups.begin(), groups.end());
    auto told = peer->groups;
    std::sort(told.begin(), told.end());
    EXPECT_EQ(told, groups);
}

TEST_F(UnixSocket, failuresNameThePathAndTheReason) {
    const std::string file = (folder / "file").string();
    std::ofstream(file) << "text";
    const std::string tooLong = "/" + std::string(200, 'x');
    const auto listening = listenUnix(path, 0600);
    ASSERT_TRUE(listening);
    const std::string missing = (folder / "none").string();
    EXPECT_EQ(connectUnix(missing).error(),
              "cannot connect to tallyd at " + missing + ": No such file or directory");
    EXPECT_EQ(connectUnix(file).error(),
              "cannot connect to tallyd at " + file + ": Connection refused");
    EXPECT_EQ(connectUnix(tooLong).error(), "cannot connect to tallyd at " + tooLong +
                                                ": the path is empty or too long for a socket");
    EXPECT_EQ(listenUnix(file, 0600).error(),
              "cannot listen at " + file + ": there is a file that is no socket");
    EXPECT_EQ(listenUnix(path, 0600).error(),
              "cannot listen at " + path + ": another process listens there");
    EXPECT_EQ(listenUnix(missing + "/d.sock", 0600).error(),
              "cannot listen at " + missing + "/d.sock: No such file or directory");
    EXPECT_TRUE(fs::is_regular_file(file));
    EXPECT_TRUE(connectUnix(path)) << "a failed attempt has spoilt the listener";
}

TEST_F(UnixSocket, aSocketLeftBehindIsReplaced) {
    listenUnix(path, 0600)->close();
    ASSERT_TRUE(fs::is_socket(path));
    const auto listener = listenUnix(path, 0666);
    ASSERT_TRUE(listener) << listener.error();
    EXPECT_TRUE(connectUnix(path));
    EXPECT_EQ(fs::status(path).permissions(), fs::perms(0666)); // whatever the umask
}

TEST_F(UnixSocket, connectingToAFullListenerFailsInsteadOfWaiting) {
    const auto listener = listenUnix(path, 0600);
    ASSERT_TRUE(listener);
    ASSERT_EQ(::listen(listener->get(), 0), 0);
    std::vector<FileDescriptor> waiting;
    std::string error;
    while (error.empty() && waiting.size() < 16) {
        auto connected = connectUnix(path);
        if (connected)
            waiting.push_back(std::move(*connected));
        else
            error = connected.error();
    }
    EXPECT_EQ(error, "cannot connect to tallyd at " + path + ": too many connections are waiting");
    EXPECT_EQ(listenUnix(path, 0600).error(),
              "cannot listen at " + path + ": another process listens there");
}

TEST_F(UnixSocket, shuttingTheListenerDownWakesTheOneWhoAccepts) {
    const auto listener = listenUnix(path, 0600);
    ASSERT_TRUE(listener);
    std::string error;
    std::thread accepting([&] { error = acceptUnix(*listener).error(); });
    ::shutdown(listener->get(), SHUT_RDWR);
    accepting.join();
    EXPECT_EQ(error, "cannot accept: the listener was shut down");
}

TEST(FileDescriptor, closesOnceAndMovesItsDescriptor) {
    const auto isOpen = [](int fd) { return ::fcntl(fd, F_GETFD) >= 0; };
    const int number = ::dup(STDERR_FILENO);
    FileDescriptor first(number);
    FileDescriptor second(std::move(first));
    EXPECT_FALSE(first.isOpen());
    EXPECT_EQ(second.get(), number);
    second = FileDescriptor(::dup(STDERR_FILENO));
    EXPECT_FALSE(isOpen(number) && second.get() != number);
    const int released = second.release();
    EXPECT_TRUE(isOpen(released));
    { const FileDescriptor last(released); }
    EXPECT_FALSE(isOpen(released));
}

TEST(DaemonSocketPath, isTheEnvironmentsUnlessThatIsEmpty) {
    const std::pair<const char*, const char*> cases[]{
        {nullptr, "/run/tallyd/tallyd.sock"}, {"", "/run/tallyd/tallyd.sock"}, {"/x", "/x"}};
    for (const auto& [value, expected] : cases) {
        value ? ::setenv("TALLYD_SOCKET", value, 1) : ::unsetenv("TALLYD_SOCKET");
        EXPECT_EQ(daemonSocketPath(), expected);
    }
    ::unsetenv("TALLYD_SOCKET");
}
