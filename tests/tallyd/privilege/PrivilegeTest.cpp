// SPDX-License-Identifier: BSD-2-Clause
//
// What is given up is gone for good, so each test gives it up in a child process.
#include "tallyd/privilege/Privileges.h"
#include "tallyd/privilege/SystemCalls.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/ptrace.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace brindle::tallyd {
namespace {

/// A line of /proc/self/status, without its name and blanks.
std::string ofStatus(const std::string& name) {
    std::ifstream file("/proc/self/status");
    for (std::string line; std::getline(file, line);)
        if (line.starts_with(name + ":"))
            return line.substr(line.find_first_not_of(" \t", name.size() + 1));
    return {};
}

/// Gives what the body returns: what was found wrong, empty for nothing.
std::string inChild(const std::function<std::string()>& body) {
    int ends[2];
    if (::pipe(ends) != 0)
        return "no pipe";
    const pid_t child = ::fork();
    if (child == 0) {
        const std::string wrong = body();
        const bool isTold =
            ::write(ends[1], wrong.data(), wrong.size()) == static_cast<ssize_t>(wrong.size());
        ::_exit(isTold ? 0 : 1);
    }
    ::close(ends[1]);
    std::string wrong;
    char buffer[1000];
    for (ssize_t got = 0; (got = ::read(ends[0], buffer, sizeof buffer)) > 0;)
        wrong.append(buffer, static_cast<std::size_t>(got));
    ::close(ends[0]);
    int status = 0;
    ::waitpid(child, &status, 0);
    return status == 0 ? wrong : wrong + " ended with " + std::to_string(status);
}

class PrivilegeTest : public testing::Test {
  protected:
    PrivilegeTest() { folder_ = ::mkdtemp(std::string("/tmp/privilegeXXXXXX").data()); }
    ~PrivilegeTest() override { std::filesystem::remove_all(folder_); }
    void SetUp() override {
        if (::geteuid() != 0)
            GTEST_SKIP() << "only root has rights to give up";
    }
    std::string file(const std::string& name) const { return folder_ + "/" + name; }
    static uid_t ownerOf(const std::string& path) {
        struct stat status {};
        return ::lstat(path.c_str(), &status) == 0 ? status.st_uid : ~uid_t{};
    }

    const Account account{"nobody", 65534, 65534, {65534, 4}};
    std::string folder_;
};

TEST(Account, HasItsGroupsAndThoseThatReadLogs) {
    EXPECT_FALSE(findAccount("no such user here"));
    const auto root = findAccount("root");
    ASSERT_TRUE(root);
    EXPECT_EQ(root->user, 0u);
    const auto has = [&](gid_t group) {
        return std::count(root->groups.begin(), root->groups.end(), group);
    };
    EXPECT_EQ(has(0), 1);
    EXPECT_EQ(has(4), 1) << "adm";
}

TEST_F(PrivilegeTest, OnlyWhatSourcesNeedIsLeftAndNothingComesBack) {
    std::ofstream(file("secret")) << "of root";
    ::chmod(file("secret").c_str(), 0600);
    EXPECT_EQ("", inChild([&]() -> std::string {
                  if (const auto become = becomeAccount(account); !become)
                      return become.error();
                  if (ofStatus("Uid") != "65534\t65534\t65534\t65534" ||
                      ofStatus("Gid") != "65534\t65534\t65534\t65534")
                      return "uid " + ofStatus("Uid") + ", gid " + ofStatus("Gid");
                  if (ofStatus("Groups").find("4 65534") != 0)
                      return "groups " + ofStatus("Groups");
                  // CAP_NET_ADMIN 12, CAP_NET_RAW 13, CAP_SYSLOG 34
                  for (const char* set : {"CapPrm", "CapEff", "CapBnd"})
                      if (std::stoull(ofStatus(set), nullptr, 16) & ~0x400003000ULL)
                          return set + (" " + ofStatus(set));
                  if (std::stoull(ofStatus("CapInh") + ofStatus("CapAmb"), nullptr, 16) != 0)
                      return "something is inherited";
                  if (ofStatus("NoNewPrivs") != "1")
                      return "new rights can be had";
                  if (::setuid(0) == 0 || ::setgid(0) == 0)
                      return "root again";
                  if (::access(file("secret").c_str(), R_OK) == 0)
                      return "root's files can be read";
                  return "";
              }));
}

TEST_F(PrivilegeTest, WhatTheDaemonNeverDoesIsRefusedAndTheRestWorks) {
    EXPECT_EQ(
        "", inChild([]() -> std::string {
            if (const auto restricted = restrictSystemCalls(); !restricted)
                return restricted.error();
            std::string wrong;
            const auto refused = [&](const char* what, auto result) {
                if (reinterpret_cast<std::intptr_t>(reinterpret_cast<void*>(result)) != -1 ||
                    errno != EPERM)
                    wrong += std::string(what) + " is not refused; ";
            };
            char* const nothing[] = {nullptr};
            refused("execve", static_cast<std::intptr_t>(::execve("/bin/true", nothing, nothing)));
            refused("ptrace", static_cast<std::intptr_t>(::ptrace(PTRACE_TRACEME, 0, 0, 0)));
            refused("unshare", static_cast<std::intptr_t>(::unshare(CLONE_NEWUSER)));
            refused("kill", static_cast<std::intptr_t>(::kill(1, 0)));
            refused("AF_VSOCK", static_cast<std::intptr_t>(::socket(AF_VSOCK, SOCK_STREAM, 0)));
            refused("writable code", ::mmap(nullptr, 4096, PROT_READ | PROT_WRITE | PROT_EXEC,
                                            MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));

            bool isRun = false;
            std::thread([&] { isRun = true; }).join();
            if (!isRun)
                wrong += "no threads; ";
            for (const int family : {AF_UNIX, AF_INET, AF_INET6, AF_NETLINK}) {
                const int socket = ::socket(family, SOCK_DGRAM, 0);
                if (socket < 0)
                    wrong += "no socket of family " + std::to_string(family) + "; ";
                ::close(socket);
            }
            // Loads libraries the first time.
            if (!::getpwnam("root"))
                wrong += "no look-up of users; ";
            return wrong;
        }));
}

TEST_F(PrivilegeTest, OnlyPlainFilesOfRootAreHandedOver) {
    for (const char* name : {"store", "others", "target", "linked"})
        std::ofstream(file(name)) << name;
    ASSERT_EQ(::chown(file("others").c_str(), 1234, 1234), 0);
    EXPECT_TRUE(handOver({file("store"), file("others"), file("missing")}, account));
    EXPECT_EQ(ownerOf(file("store")), 65534u);
    EXPECT_EQ(ownerOf(file("others")), 1234u);

    // The folder is not root's: whoever owns it may want another of root's files.
    std::filesystem::create_symlink(file("target"), file("link"));
    std::filesystem::create_hard_link(file("linked"), file("second name"));
    for (const char* name : {"link", "linked"}) {
        const auto given = handOver({file(name)}, account);
        ASSERT_FALSE(given) << name;
        EXPECT_NE(given.error().find(file(name)), std::string::npos);
    }
    for (const char* name : {"target", "linked"})
        EXPECT_EQ(ownerOf(file(name)), 0u);
}

} // namespace
} // namespace brindle::tallyd
