// SPDX-License-Identifier: BSD-2-Clause
//
// A daemon that was started as root and became another user: its sources still live, after
// rotation, and when they come later. And how soon any daemon ends.
#include "tests/system/Workshop.h"
#include "tests/tallyd/sources/capture/NetworkNamespace.h"

#include <chrono>
#include <csignal>
#include <fstream>

#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/un.h>

namespace brindle::test {
namespace {

using nlohmann::json;

class Privileges : public Workshop {
  protected:
    void SetUp() override {
        if (!network.missing().empty())
            GTEST_SKIP() << network.missing();
        const passwd* const nobody = ::getpwnam("nobody");
        const group* const adm = ::getgrnam("adm");
        if (!nobody || !adm)
            GTEST_SKIP() << "there is no user nobody or no group adm";
        user_ = nobody->pw_uid;
        logReaders_ = adm->gr_gid;
        // As a package sets the machine up: the store's folder is the daemon's, the logs' root's.
        std::filesystem::permissions(folder_, std::filesystem::perms(0755));
        std::filesystem::create_directories(folder_ + "/lib");
        ASSERT_EQ(::chown((folder_ + "/lib").c_str(), user_, nobody->pw_gid), 0);
    }

    std::string privateStore() const { return path("lib/store.sqlite"); }
    std::string log() const { return path("kern.log"); }

    void configure(const std::string& sources) const {
        std::ofstream(path("tallyd.toml")) << "store = \"" << privateStore() << "\"\nsocket = \""
                                           << socket() << "\"\nsources = [" << sources << "]\n";
    }
    void serveAsNobody() {
        daemon_ = std::make_unique<Process>(std::vector<std::string>{
            kPrograms + "/tallyd", "serve", "--config", path("tallyd.toml"), "--user", "nobody"});
        const auto line = daemon_->line();
        ASSERT_TRUE(line) << daemon_->finish().errors;
    }
    /// A log as syslog daemons make it: only root and the group adm may read it.
    void writeLog(int lines) const {
        {
            std::ofstream file(log(), std::ios::app);
            for (int i = 0; i < lines; ++i)
                file << "Jun  8 14:34:33 gate kernel: [502.08] DROP IN=eth0 OUT= SRC=203.0.113.7 "
                     << "DST=10.0.0.5 PROTO=UDP SPT=1 DPT=" << i + 1 << "\n";
        }
        ASSERT_EQ(::chown(log().c_str(), 0, logReaders_), 0);
        ASSERT_EQ(::chmod(log().c_str(), 0640), 0);
    }
    json status() const { return json::parse(ask({"status", "--json"}).output); }
    /// The kernel's buffer is the machine's: who knows what is in it.
    json sourceOf(const std::string& name) const {
        const json now = status();
        for (const json& source : now.at("sources"))
            if (source.at("name") == name)
                return source;
        return {{"stored", -1}, {"state", "missing"}};
    }
    void waitForStored(const std::string& name, int count) const {
        for (int i = 0; i < 200 && sourceOf(name).at("stored") < count; ++i)
            ::usleep(20'000);
        EXPECT_EQ(sourceOf(name).at("stored"), count) << status();
    }
    /// The daemon behind the socket; its first thread.
    pid_t daemonProcess() const {
        const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        socket().copy(address.sun_path, sizeof address.sun_path - 1);
        EXPECT_EQ(::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        ucred peer{};
        socklen_t size = sizeof peer;
        EXPECT_EQ(::getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size), 0);
        ::close(fd);
        return peer.pid;
    }

    NetworkNamespace network;
    uid_t user_ = 0;
    gid_t logReaders_ = 0;
};

TEST_F(Privileges, SourcesLiveOnAfterTheDaemonBecameAnotherUser) {
    if (!network.logPort(9905, "SITE_DROP ", 5) || !network.logPort(9906, "SITE_ALLOW ", 6))
        GTEST_SKIP() << "the kernel has no NFLOG";
    writeLog(100);
    // Made by root, as an import does.
    ASSERT_EQ(run({kPrograms + "/tallyd", "import", "--store", privateStore(), log()}).exitCode, 0);
    const std::string followed = "netfilter:" + log();
    configure("\"nflog:5\", \"" + followed + "\"");
    serveAsNobody();
    waitForStored(followed, 100);

    int threads = 0;
    for (const auto& thread : std::filesystem::directory_iterator(
             "/proc/" + std::to_string(daemonProcess()) + "/task")) {
        const std::string text = fileText(thread.path().string() + "/status");
        const std::string user = std::to_string(user_);
        for (const std::string& has :
             {"Uid:\t" + user + "\t" + user + "\t" + user, std::string("Seccomp:\t2"),
              // CAP_NET_ADMIN, CAP_NET_RAW, CAP_SYSLOG
              std::string("CapEff:\t0000000400003000")})
            EXPECT_NE(text.find(has), text.npos) << has << " is not in\n" << text;
        ++threads;
    }
    EXPECT_GT(threads, 4);

    // The log goes on in another file, which root made.
    std::filesystem::rename(log(), log() + ".1");
    writeLog(50);
    PacketSender(9905).send(20);
    waitForStored("nflog:5", 20);
    waitForStored(followed, 150);

    // What comes later has to be opened with what is left.
    configure("\"nflog:6\", \"nflog:5\", \"pflog:lo\", \"netfilter:/dev/kmsg\", \"" + followed +
              "\"");
    daemon_->signal(SIGHUP);
    for (int i = 0; i < 500 && sourceOf("netfilter:/dev/kmsg").at("state") != "running"; ++i)
        ::usleep(20'000);
    EXPECT_EQ(sourceOf("netfilter:/dev/kmsg").at("state"), "running");
    PacketSender(9906).send(30);
    PacketSender(9905).send(10);
    waitForStored("nflog:6", 30);
    waitForStored("nflog:5", 30);
    // It could be opened, to find that it is something else.
    EXPECT_EQ(sourceOf("pflog:lo").at("state"),
              "waiting: the interface carries Ethernet, not pf's log");

    struct stat file {};
    for (const char* const suffix : {"", "-wal", "-shm"}) {
        ASSERT_EQ(::stat((privateStore() + suffix).c_str(), &file), 0) << suffix;
        EXPECT_EQ(file.st_uid, user_) << suffix;
        EXPECT_EQ(file.st_mode & 07777, 0640u) << suffix;
    }
    EXPECT_EQ(ask({"purge", "--before", "1"}).exitCode, 0); // root may
    daemon_->signal(SIGTERM);
    EXPECT_EQ(daemon_->finish().exitCode, 0);
    // The next start finds it as it is, and stores no line twice.
    configure("\"" + followed + "\"");
    serveAsNobody();
    writeLog(5);
    waitForStored(followed, 5);
}

TEST_F(Privileges, AFolderThatTheUserMayNotWriteToIsToldAndAnUnknownUserToo) {
    std::filesystem::create_directories(folder_ + "/roots");
    const auto refused = [&](const std::string& name, const std::string& file) {
        const Finished ended = run({kPrograms + "/tallyd", "serve", "--store", file, "--socket",
                                    path("lib/socket"), "--user", name});
        EXPECT_EQ(ended.exitCode, 1);
        EXPECT_FALSE(std::filesystem::exists(path("lib/socket")));
        return ended.errors;
    };
    EXPECT_EQ(refused("nobody", path("roots/store")),
              "tallyd: cannot open store " + path("roots/store") +
                  ": user nobody may not write to its folder\n");
    EXPECT_EQ(refused("no-such-user", privateStore()),
              "tallyd: there is no user \"no-such-user\"\n");
}

class Stopping : public Workshop {};

TEST_F(Stopping, TakesTwoSecondsAtMostHoweverBusyTheClientsAre) {
    ASSERT_EQ(import({capture("openbsd", 300'000)}).exitCode, 0);
    serve({"replay:" + capture("freebsd", 20'000, 2, 10) + "@1,loop"});
    std::vector<std::unique_ptr<Process>> clients;
    clients.push_back(std::make_unique<Process>(tallyctl({"tail"})));
    ASSERT_TRUE(clients[0]->line()); // and from here on nobody takes what it is sent
    for (int i = 0; i < 6; ++i)
        clients.push_back(std::make_unique<Process>(tallyctl(
            {"query", "--from", "0", "--to", "9999999999", "--format", i % 2 ? "csv" : "jsonl"})));
    for (std::size_t i = 1; i < clients.size(); ++i)
        ASSERT_TRUE(clients[i]->line()) << i;

    const auto begin = std::chrono::steady_clock::now();
    daemon_->signal(SIGTERM);
    const Finished ended = daemon_->finish();
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
    EXPECT_EQ(ended.exitCode, 0) << ended.errors;
    EXPECT_LT(took.count(), 2.0);
    RecordProperty("seconds", std::to_string(took.count()));
    EXPECT_EQ(run({"sqlite3", store(), "pragma quick_check"}).output, "ok\n");
}

} // namespace
} // namespace brindle::test
