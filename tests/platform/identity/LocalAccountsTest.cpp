// SPDX-License-Identifier: BSD-2-Clause
#include "platform/identity/LocalAccounts.h"
#include "platform/identity/AccountPictures.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace brindle::platform {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class LocalIdentities : public testing::Test {
  protected:
    LocalIdentities() {
        std::string pattern = testing::TempDir() + "identityXXXXXX";
        directory_ = mkdtemp(pattern.data());
        paths_ = {file("passwd"), file("group"), file("login.defs"), file("AccountsService")};
    }
    ~LocalIdentities() override { std::filesystem::remove_all(directory_); }

    std::string file(const std::string& name) const { return directory_ + "/" + name; }
    std::string write(const std::string& name, const std::string& text) const {
        std::filesystem::create_directories(std::filesystem::path(file(name)).parent_path());
        std::ofstream(file(name), std::ios::binary) << text;
        return file(name);
    }
    std::vector<std::string> names() const {
        std::vector<std::string> names;
        for (const auto& account : localAccounts(paths_))
            names.push_back(account.name);
        return names;
    }

    std::string directory_;
    IdentityPaths paths_;
};

TEST_F(LocalIdentities, PeopleAreListedInFileOrderAndSystemAccountsAreNot) {
    write("passwd", "root:x:0:0:root:/root:/bin/bash\n"
                    "daemon:x:999:999::/:/usr/sbin/nologin\n"
                    "last:x:60000:100::/home/last:/bin/sh\n"
                    "# a comment\n"
                    "+nis:x:1500:1500::/home/nis:/bin/sh\n"
                    "short:x:1001:1001\n"
                    "\n"
                    "first:x:1000:1000::/home/first:/bin/sh\n"
                    "beyond:x:60001:100::/home/beyond:/bin/sh\n"
                    "nobody:x:65534:65534:nobody:/nonexistent:/usr/sbin/nologin\n"
                    "unread:x:12a:100::/home/unread:/bin/sh\n"
                    "unended:x:1002:1002:Without Newline:/home/unended:/bin/sh");
    EXPECT_THAT(names(), ElementsAre("last", "first", "unread", "unended"));
}

TEST_F(LocalIdentities, BoundsComeFromLoginDefs) {
    write("passwd", "a:x:499:1::/a:\nb:x:500:1::/b:\nc:x:2000:1::/c:\nd:x:2001:1::/d:\n");
    write("login.defs", "#UID_MIN 1\nUID_MINOR 5\nUID_MIN\t\t 500 # comment\n  UID_MAX 0x7D0\n"
                        "SYS_UID_MIN 100\nUID_MAX many\n");
    EXPECT_THAT(names(), ElementsAre("b", "c"));
    EXPECT_EQ(accountIdRange(file("absent")).first, 1000);
    EXPECT_EQ(accountIdRange(file("absent")).last, 60000);
}

TEST_F(LocalIdentities, FieldsOfAnAccount) {
    write("passwd", "anna:x:+1000:1005:Anna Müller,Room 3,555:/home/anna:/bin/sh\n"
                    "bo:x:1001:::/home/bo:/bin/sh\n"
                    "cy:x::7:,,,:/home/cy:/bin/sh\n"
                    "di:x:+-5:7::/home/di:/bin/sh\n");
    const auto accounts = localAccounts(paths_);
    ASSERT_EQ(accounts.size(), 4u);
    EXPECT_EQ(accounts[0].id, 1000);
    EXPECT_EQ(accounts[0].gid, 1005);
    EXPECT_EQ(accounts[0].fullName, "Anna Müller");
    EXPECT_EQ(accounts[0].home, "/home/anna");
    EXPECT_EQ(accounts[1].gid, std::nullopt);
    EXPECT_EQ(accounts[2].id, std::nullopt);
    EXPECT_EQ(accounts[2].fullName, "");
    EXPECT_EQ(accounts[3].id, std::nullopt);
}

TEST_F(LocalIdentities, NoDatabasesAreNoIdentities) {
    EXPECT_THAT(localAccounts(paths_), IsEmpty());
    EXPECT_THAT(localGroups(paths_), IsEmpty());
    EXPECT_EQ(administratorsGroup({}), nullptr);
}

TEST_F(LocalIdentities, AdministratorsAreOfTheFirstKnownGroupOnly) {
    write("group", "admin:x:80:di\nwheel:x:10:cy\nsudo:x:27:anna,bo\nsudoers:x:28:cy\n");
    const auto groups = localGroups(paths_);
    const LocalGroup* const administrators = administratorsGroup(groups);
    ASSERT_NE(administrators, nullptr);
    EXPECT_EQ(administrators->name, "sudo");
    const auto isAdmin = [&](const char* name, std::optional<std::int64_t> gid) {
        return isMemberOfGroup({.name = name, .fullName = {}, .home = {}, .id = 1000, .gid = gid},
                               *administrators);
    };
    EXPECT_TRUE(isAdmin("anna", 1000));
    EXPECT_TRUE(isAdmin("bo", std::nullopt));
    EXPECT_TRUE(isAdmin("primary", 27)) << "it is the account's primary group";
    EXPECT_FALSE(isAdmin("an", 1000)) << "only a part of a member's name";
    EXPECT_FALSE(isAdmin("cy", 10)) << "a later group does not count";

    write("group", "users:x:100:\nadmin:x:80:\nwheel:x::\n");
    const auto others = localGroups(paths_);
    EXPECT_EQ(administratorsGroup(others)->name, "wheel");
    EXPECT_FALSE(isMemberOfGroup({.name = "x", .fullName = {}, .home = {}, .id = 1, .gid = {}},
                                 *administratorsGroup(others)))
        << "two ids that nobody could read are not the same id";
}

TEST_F(LocalIdentities, PicturesOfAccountsServiceComeBeforeThoseOfTheHome) {
    const LocalAccount anna{
        .name = "anna", .fullName = {}, .home = "/home/anna", .id = 1000, .gid = {}};
    const std::string icons = paths_.accountsService + "/icons/";
    EXPECT_THAT(accountPictureFiles(anna, paths_),
                ElementsAre(icons + "anna", "/home/anna/.face", "/home/anna/.face.icon"));

    write("AccountsService/users/anna", "[Input]\nIcon=/wrong\n[User]\nLanguage=\n"
                                        " Icon = /usr/share/faces/cat.png \nIcon=/second\n");
    EXPECT_EQ(accountPictureFiles(anna, paths_).front(), "/usr/share/faces/cat.png");
    EXPECT_EQ(accountPictureFiles(anna, paths_).size(), 4u);

    const LocalAccount odd{
        .name = "../users/anna", .fullName = {}, .home = "relative", .id = {}, .gid = {}};
    EXPECT_THAT(accountPictureFiles(odd, paths_), IsEmpty())
        << "a name must not lead out of the folder";
}

TEST_F(LocalIdentities, OnlySmallRegularFilesAreRead) {
    EXPECT_EQ(readPictureFile(write("small", std::string("a\0b", 3))), std::string("a\0b", 3));
    EXPECT_TRUE(readPictureFile(write("full", std::string(kLargestPictureFile, 'x'))));
    EXPECT_FALSE(readPictureFile(write("large", std::string(kLargestPictureFile + 1, 'x'))));
    EXPECT_FALSE(readPictureFile(write("empty", "")));
    EXPECT_FALSE(readPictureFile(file("absent")));
    EXPECT_FALSE(readPictureFile(directory_));
    EXPECT_FALSE(readPictureFile("/dev/zero"));
    ASSERT_EQ(mkfifo(file("pipe").c_str(), 0600), 0);
    EXPECT_FALSE(readPictureFile(file("pipe"))) << "reached at all: nobody was waited for";
}

} // namespace
} // namespace brindle::platform
