// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/server/PeerPolicy.h"

#include <gtest/gtest.h>

using namespace brindle;
using namespace brindle::tallyd;

TEST(PeerPolicy, readingIsForTheGroupChangingForRootAndTheDaemon) {
    constexpr uid_t kDaemon = 900;
    constexpr gid_t kGroup = 901;
    struct Case {
        const char* who;
        uid_t uid;
        gid_t gid;
        std::vector<gid_t> groups;
        std::string name;
        std::optional<gid_t> readers;
        bool mayRead;
        bool mayManage;
        std::string refusal;
        std::string manageRefusal;
    };
    const auto change = [](const std::string& who) {
        return "user " + who +
               " is not allowed to change the log: that is for root and the daemon's own user";
    };
    const std::string noMember =
        "user anna is not allowed to read the log: not a member of the group tallyd "
        "(root helps with \"adduser USER tallyd\", then a new login)";
    const Case cases[]{
        {"root", 0, 0, {}, "root", kGroup, true, true, "", ""},
        {"root without the group", 0, 5, {}, "root", std::nullopt, true, true, "", ""},
        {"the daemon's user", kDaemon, 5, {}, "tallyd", kGroup, true, true, "", ""},
        {"primary group", 1000, kGroup, {}, "anna", kGroup, true, false, "", change("anna")},
        {"supplementary group",
         1000,
         5,
         {4, kGroup, 6},
         "anna",
         kGroup,
         true,
         false,
         "",
         change("anna")},
        {"other groups",
         1000,
         5,
         {4, 0, 900},
         "anna",
         kGroup,
         false,
         false,
         noMember,
         change("anna")},
        {"root's group only", 1000, 0, {0}, "anna", kGroup, false, false, noMember, change("anna")},
        {"no such group",
         1000,
         kGroup,
         {kGroup},
         "anna",
         std::nullopt,
         false,
         false,
         "user anna is not allowed to read the log: there is no group tallyd on this machine",
         change("anna")},
        {"no account",
         1000,
         5,
         {},
         "",
         kGroup,
         false,
         false,
         "user uid 1000 is not allowed to read the log: not a member of the group tallyd "
         "(root helps with \"adduser USER tallyd\", then a new login)",
         change("uid 1000")},
    };
    for (const Case& one : cases) {
        const PeerPolicy policy{.daemonUser = kDaemon, .readersGroup = one.readers};
        const PeerAccess access = policy.access(
            {.uid = one.uid, .gid = one.gid, .pid = 1, .groups = one.groups}, one.name);
        EXPECT_EQ(access.mayRead, one.mayRead) << one.who;
        EXPECT_EQ(access.mayManage, one.mayManage) << one.who;
        EXPECT_EQ(access.refusal, one.refusal) << one.who;
        EXPECT_EQ(access.manageRefusal, one.manageRefusal) << one.who;
    }
}
