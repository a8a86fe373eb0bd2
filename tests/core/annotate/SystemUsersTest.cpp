// SPDX-License-Identifier: BSD-2-Clause
#include "core/annotate/SystemUsers.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace brindle {
namespace {

using testing::IsEmpty;

/// Image files of the form "image WIDTH HEIGHT"; what is made of a picture tells how in its name.
class WrittenEffects final : public ImageEffects {
  public:
    Picture load(std::string_view bytes) const override {
        return bytes.starts_with("image ") ? Picture::named(std::string(bytes)) : Picture();
    }
    PictureSize size(const Picture& picture) const override {
        std::istringstream words(picture.content()->name);
        std::string word;
        PictureSize size;
        words >> word >> size.width >> size.height;
        return size;
    }
    Picture roundImage(const Picture& source, double width, double height) const override {
        return derived("round", source, width, height);
    }
    Picture resizedImage(const Picture& source, double width, double height) const override {
        return derived("resized", source, width, height);
    }

  private:
    static Picture derived(const char* how, const Picture& source, double width, double height) {
        std::ostringstream name;
        name << source.content()->name << ", " << how << ' ' << width << ' ' << height;
        return Picture::named(name.str());
    }
};

class SystemUserList : public testing::Test {
  protected:
    SystemUserList() {
        std::string pattern = testing::TempDir() + "usersXXXXXX";
        directory_ = mkdtemp(pattern.data());
    }
    ~SystemUserList() override { std::filesystem::remove_all(directory_); }

    void write(const std::string& name, const std::string& text) const {
        const std::filesystem::path path(directory_ + "/" + name);
        std::filesystem::create_directories(path.parent_path());
        std::ofstream(path) << text;
    }
    /// An account with the given id text and a home below the test's folder.
    std::string account(const std::string& name, const std::string& id) const {
        return name + ":x:" + id + ":100:Full " + name + ",,:" + directory_ + "/" + name + ":\n";
    }
    std::vector<VDXSystemUser> build() const {
        const VDXSystemUsers users({directory_ + "/passwd", directory_ + "/group",
                                    directory_ + "/login.defs", directory_ + "/service"});
        return VDXSystemUserDB(users, effects_).build();
    }

    std::string directory_;
    WrittenEffects effects_;
};

TEST_F(SystemUserList, PicturesAreClippedAtTheirOwnSizeThenScaledTwice) {
    write("passwd", account("anna", "1000"));
    write("anna/.face", "image 30 20");
    const auto users = build();
    ASSERT_EQ(users.size(), 1u);
    EXPECT_EQ(users[0].bigRoundImage.content()->name, "image 30 20, round 30 20, resized 128 128");
    EXPECT_EQ(users[0].smallRoundImage.content()->name,
              "image 30 20, round 30 20, resized 128 128, resized 16 16");
    EXPECT_EQ(users[0].posixID, 1000);
    EXPECT_EQ(users[0].posixName, "anna");
    EXPECT_EQ(users[0].fullName, "Full anna");
}

TEST_F(SystemUserList, AccountsWithoutAPictureAreLeftOutAndTheOrderIsKept) {
    write("passwd", account("zoe", "1003") + account("none", "1001") + account("text", "1004") +
                        account("anna", "1002"));
    write("zoe/.face", "image 1 1");
    write("text/.face", "no image at all");
    write("service/icons/anna", "image 2 2");
    const auto users = build();
    ASSERT_EQ(users.size(), 2u);
    EXPECT_EQ(users[0].posixName, "zoe");
    EXPECT_EQ(users[1].posixName, "anna");
}

TEST_F(SystemUserList, AFileThatIsNoImageGivesWayToTheNextPlace) {
    write("passwd", account("anna", "1000"));
    write("service/users/anna", "[User]\nIcon=" + directory_ + "/gone.png\n");
    write("service/icons/anna", "damaged");
    write("anna/.face", "image 3 3");
    ASSERT_EQ(build().size(), 1u);
    EXPECT_THAT(build()[0].smallRoundImage.content()->name, testing::StartsWith("image 3 3,"));
}

TEST_F(SystemUserList, AnIdThatCannotBeReadMatchesNoRecord) {
    for (const char* id : {"", "many", "1000}", "99999999999999999999"}) {
        write("passwd", account("anna", id));
        write("anna/.face", "image 1 1");
        ASSERT_EQ(build().size(), 1u) << id;
        EXPECT_EQ(build()[0].posixID, 2147483647) << id;
    }
}

TEST_F(SystemUserList, AdministratorsAreMarkedAndWithoutTheirGroupNobodyIs) {
    write("passwd", account("anna", "1000") + account("bo", "1001"));
    write("anna/.face", "image 1 1");
    write("bo/.face", "image 1 1");
    write("group", "sudo:x:27:bo\n");
    ASSERT_EQ(build().size(), 2u);
    EXPECT_FALSE(build()[0].isAdmin);
    EXPECT_TRUE(build()[1].isAdmin);
    write("group", "staff:x:27:bo\n");
    EXPECT_FALSE(build()[1].isAdmin);
}

TEST_F(SystemUserList, NoPasswordDatabaseIsAnEmptyList) {
    EXPECT_THAT(build(), IsEmpty());
}

} // namespace
} // namespace brindle
