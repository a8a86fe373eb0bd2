// SPDX-License-Identifier: BSD-2-Clause
//
// The helper as it is installed, in a network of its own where it may do what it likes: what it
// puts in place, and what that does to packets.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <arpa/inet.h>
#include <poll.h>
#include <sched.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using testing::HasSubstr;
using testing::Not;

int statusOf(const std::string& command) {
    const int status = std::system(command.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

class ApplyProgram : public testing::Test {
  protected:
    ApplyProgram() {
        std::string made = (std::filesystem::temp_directory_path() / "applyXXXXXX").string();
        folder = mkdtemp(made.data());
    }
    ~ApplyProgram() override { std::filesystem::remove_all(folder); }

    /// The exit status; what was written to standard error is in `errors`.
    int apply(const std::string& input, const std::string& arguments = {}) {
        std::ofstream(folder / "in") << input;
        const int status =
            statusOf(std::string(VARDEX_APPLY) + ' ' + arguments + " < " +
                     (folder / "in").string() + " > /dev/null 2> " + (folder / "err").string());
        errors = contentOf("err");
        return status;
    }
    std::string contentOf(const char* name) {
        std::ifstream file(folder / name);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    std::filesystem::path folder;
    std::string errors;
};

TEST_F(ApplyProgram, SaysWhenItIsUsedWrongly) {
    for (const char* arguments : {"--nonsense", "192.0.2.1", "--group", "--group x", "--group 5x",
                                  "--group 70000", "--group -1", "--check --check=1"}) {
        EXPECT_EQ(apply("", arguments), 2) << arguments;
        EXPECT_THAT(errors, HasSubstr("usage: vardex-apply"));
    }
    EXPECT_EQ(apply("", "--help"), 0);
    EXPECT_EQ(errors, "");
}

TEST_F(ApplyProgram, ChecksWithoutChangingAnythingAndWithoutAnyRight) {
    EXPECT_EQ(apply("203.0.113.9\n2001:db8::/32\n", "--check"), 0);
    EXPECT_EQ(errors, "");
    EXPECT_EQ(apply("203.0.113.9\n127.0.0.1\nforce 127.0.0.1\nx\n", "--check --group 6"), 1);
    EXPECT_EQ(errors, "refused 127.0.0.1: is a loopback address\n"
                      "refused x: is not an address or block\n");
    EXPECT_EQ(apply(std::string(9 << 20, '1'), "--check"), 1);
    EXPECT_EQ(errors, "not applied: more than 8388608 bytes of addresses\n");
}

/// Each test has a network of its own, with a loopback interface that has more addresses.
class ApplyInNetwork : public ApplyProgram {
  protected:
    void SetUp() override {
        if (geteuid() != 0 || unshare(CLONE_NEWNET) != 0)
            GTEST_SKIP() << "needs the right to make a network of its own (root)";
        if (statusOf("nft list tables > /dev/null 2>&1 && ip link set lo up && "
                     "ip address add 198.51.100.7/32 dev lo && "
                     "ip -6 address add 2001:db8::7/128 dev lo nodad && "
                     "ip route add 203.0.113.0/24 dev lo") != 0)
            GTEST_SKIP() << "needs ip, nft and a kernel with both";
    }

    std::string rules() {
        EXPECT_EQ(statusOf("nft list ruleset > " + (folder / "rules").string()), 0);
        return contentOf("rules");
    }

    enum class Fate { arrives, isLost, isForbidden };
    /// Of a datagram between two addresses of this machine.
    static Fate fate(const char* from, const char* to) {
        const bool v6 = std::strchr(to, ':') != nullptr;
        const auto boundTo = [v6](const char* text) {
            const int one = socket(v6 ? AF_INET6 : AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
            sockaddr_storage address = addressOf(text, 0);
            EXPECT_EQ(bind(one, reinterpret_cast<sockaddr*>(&address), sizeOf(address)), 0)
                << text << ": " << std::strerror(errno);
            return one;
        };
        const int receiver = boundTo(to);
        const int sender = boundTo(from);
        sockaddr_storage target{};
        socklen_t length = sizeof target;
        getsockname(receiver, reinterpret_cast<sockaddr*>(&target), &length);
        Fate result = Fate::isForbidden;
        if (sendto(sender, "x", 1, 0, reinterpret_cast<sockaddr*>(&target), length) == 1) {
            pollfd ready{receiver, POLLIN, 0};
            result = poll(&ready, 1, 300) == 1 ? Fate::arrives : Fate::isLost;
        }
        close(sender);
        close(receiver);
        return result;
    }

  private:
    static sockaddr_storage addressOf(const char* text, std::uint16_t port) {
        sockaddr_storage storage{};
        auto* const v4 = reinterpret_cast<sockaddr_in*>(&storage);
        auto* const v6 = reinterpret_cast<sockaddr_in6*>(&storage);
        if (inet_pton(AF_INET, text, &v4->sin_addr) == 1) {
            v4->sin_family = AF_INET;
            v4->sin_port = htons(port);
        } else if (inet_pton(AF_INET6, text, &v6->sin6_addr) == 1) {
            v6->sin6_family = AF_INET6;
            v6->sin6_port = htons(port);
        }
        return storage;
    }
    static socklen_t sizeOf(const sockaddr_storage& address) {
        return address.ss_family == AF_INET6 ? sizeof(sockaddr_in6) : sizeof(sockaddr_in);
    }
};

TEST_F(ApplyInNetwork, WhatComesFromOrGoesToTheListIsDroppedAndCounted) {
    ASSERT_EQ(fate("198.51.100.7", "127.0.0.1"), Fate::arrives);
    ASSERT_EQ(fate("2001:db8::7", "::1"), Fate::arrives);

    // Its own addresses, so it must be told twice.
    EXPECT_EQ(apply("198.51.100.7\n2001:db8::7\n203.0.113.9\n"), 1);
    EXPECT_EQ(errors, "refused 198.51.100.7: is this machine's own address\n"
                      "refused 2001:db8::7: is this machine's own address\n");
    EXPECT_EQ(fate("198.51.100.7", "127.0.0.1"), Fate::arrives);
    EXPECT_THAT(rules(), HasSubstr("elements = { 203.0.113.9 counter packets 0 bytes 0 }"));

    EXPECT_EQ(apply("force 198.51.100.0/24\nforce 2001:db8::7\n", "--group 9"), 0);
    EXPECT_EQ(errors, "");
    EXPECT_EQ(fate("198.51.100.7", "127.0.0.1"), Fate::isLost);
    EXPECT_EQ(fate("127.0.0.1", "198.51.100.7"), Fate::isForbidden);
    EXPECT_EQ(fate("2001:db8::7", "::1"), Fate::isLost);
    EXPECT_EQ(fate("::1", "2001:db8::7"), Fate::isForbidden);
    EXPECT_EQ(fate("127.0.0.1", "127.0.0.1"), Fate::arrives);
    const std::string listed = rules();
    EXPECT_THAT(listed, HasSubstr("198.51.100.0/24 counter packets 2 bytes "));
    EXPECT_THAT(listed, HasSubstr("log prefix \"vardex drop: \" group 9"));
    EXPECT_THAT(listed, Not(HasSubstr("203.0.113.9")));

    EXPECT_EQ(apply(""), 0);
    EXPECT_EQ(fate("198.51.100.7", "127.0.0.1"), Fate::arrives);
}

TEST_F(ApplyInNetwork, TheDefaultGatewayIsRefusedByWhatTheSystemSays) {
    ASSERT_EQ(statusOf("ip route add default via 203.0.113.1 dev lo onlink"), 0);
    EXPECT_EQ(apply("203.0.113.1\n203.0.113.3\n203.0.113.0/28\n"), 1);
    EXPECT_EQ(errors, "refused 203.0.113.1: is the default gateway\n"
                      "refused 203.0.113.0/28: contains the default gateway 203.0.113.1\n");
    EXPECT_THAT(rules(), HasSubstr("elements = { 203.0.113.3 "));
}

TEST_F(ApplyInNetwork, ReplacesItsOwnTableAndNoOther) {
    ASSERT_EQ(statusOf("nft add table inet other && nft add set inet vardex2 x 2>/dev/null; "
                       "nft add table inet vardex && nft 'add chain inet vardex stale'"),
              0);
    std::string many;
    for (int i = 0; i < 50000; ++i)
        many += "100." + std::to_string(i / 65536 + 64) + '.' + std::to_string(i / 256 % 256) +
                '.' + std::to_string(i % 256) + '\n';
    EXPECT_EQ(apply(many + "100.64.0.0/16\n100.64.1.0/24\n2001:db8:1::/48\n2001:db8:1:2::/64\n"),
              0);
    EXPECT_EQ(errors, "");
    const std::string listed = rules();
    EXPECT_THAT(listed, HasSubstr("table inet other"));
    EXPECT_THAT(listed, Not(HasSubstr("stale")));
    EXPECT_THAT(listed, HasSubstr("elements = { 100.64.0.0/16 counter"));
    EXPECT_THAT(listed, HasSubstr("elements = { 2001:db8:1::/48 counter"));
}

TEST_F(ApplyInNetwork, WithoutTheRightNothingIsAppliedAndItSaysSo) {
    ASSERT_EQ(apply("203.0.113.9\n"), 0);
    std::filesystem::permissions(folder, std::filesystem::perms::all);
    std::ofstream(folder / "in") << "203.0.113.10\n";
    const int status =
        statusOf("setpriv --reuid 65534 --clear-groups --no-new-privs " VARDEX_APPLY " < " +
                 (folder / "in").string() + " 2> " + (folder / "err").string());
    if (status == 126 || status == 127)
        GTEST_SKIP() << "needs setpriv, and the program where everybody may start it";
    EXPECT_EQ(status, 1);
    EXPECT_THAT(contentOf("err"), HasSubstr("not applied: "));
    EXPECT_THAT(rules(), HasSubstr("203.0.113.9"));
}

} // namespace
