// SPDX-License-Identifier: BSD-2-Clause
#include "platform/defaults/DefaultsFile.h"

#include "platform/defaults/FileReplacement.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

namespace brindle::platform {
namespace {

namespace fs = std::filesystem;

class DefaultsFileTest : public testing::Test {
  protected:
    void SetUp() override {
        char pattern[] = "/tmp/brindle-defaults-XXXXXX";
        folder_ = mkdtemp(pattern);
    }
    void TearDown() override { fs::remove_all(folder_); }

    std::string path() const { return folder_ / "sub" / "defaults.plist"; }
    void write(const std::string& bytes) const {
        fs::create_directories(fs::path(path()).parent_path());
        std::ofstream(path(), std::ios::binary) << bytes;
    }
    static std::string content(const std::string& name) {
        std::ostringstream bytes;
        bytes << std::ifstream(name, std::ios::binary).rdbuf();
        return bytes.str();
    }
    std::set<std::string> names() const {
        std::set<std::string> found;
        for (const auto& entry : fs::directory_iterator(fs::path(path()).parent_path()))
            found.insert(entry.path().filename());
        return found;
    }
    static DefaultsFile::Change to(PropertyList value) {
        return [value](const PropertyList*) { return value; };
    }

    fs::path folder_;
};

TEST_F(DefaultsFileTest, AChangeKeepsOtherKeysAndIsForItsOwnerOnly) {
    const DefaultsFile defaults(path());
    EXPECT_EQ(defaults.read("a"), std::nullopt);
    ASSERT_TRUE(defaults.update("a", to("1")));
    ASSERT_TRUE(defaults.update("b", to(std::int64_t{2})));
    ASSERT_TRUE(defaults.update(
        "a", [](const PropertyList* stored) { return PropertyList(*stored->asString() + "+"); }));
    EXPECT_EQ(DefaultsFile(path()).read("a"), PropertyList("1+"));
    EXPECT_EQ(DefaultsFile(path()).read("b"), PropertyList(std::int64_t{2}));
    EXPECT_EQ(fs::status(path()).permissions(), fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_EQ(names(), (std::set<std::string>{"defaults.plist", "defaults.plist.lock"}))
        << "a temporary file was left behind";
}

TEST_F(DefaultsFileTest, UnusableFilesAreSetAsideAndNeverOverwritten) {
    const DefaultsFile defaults(path());
    write("<plist><dict><key>cut");
    testing::internal::CaptureStderr();
    EXPECT_EQ(defaults.read("a"), std::nullopt);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              path() + ": not readable as a property list, set aside as " + path() +
                  ".unreadable\n");
    EXPECT_EQ(content(path() + ".unreadable"), "<plist><dict><key>cut");

    write("<plist><array/></plist>"); // a list, but none of keys
    testing::internal::CaptureStderr();
    EXPECT_TRUE(defaults.update("a", to("1")));
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(content(path() + ".unreadable-2"), "<plist><array/></plist>");
    EXPECT_EQ(content(path() + ".unreadable"), "<plist><dict><key>cut");
    EXPECT_EQ(defaults.read("a"), PropertyList("1"));
}

TEST_F(DefaultsFileTest, AFailedWriteLeavesTheOldFile) {
    const DefaultsFile defaults(path());
    ASSERT_TRUE(defaults.update("a", to("old")));
    const std::string before = content(path());

    // A full disk, as far as this process can tell.
    rlimit old{};
    getrlimit(RLIMIT_FSIZE, &old);
    const rlimit small{100, old.rlim_max};
    signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &small);
    const auto result = defaults.update("a", to(std::string(5000, 'x')));
    setrlimit(RLIMIT_FSIZE, &old);

    ASSERT_FALSE(result);
    EXPECT_EQ(result.error(), path() + ": File too large");
    EXPECT_EQ(content(path()), before);
    EXPECT_EQ(names(), (std::set<std::string>{"defaults.plist", "defaults.plist.lock"}));
}

TEST_F(DefaultsFileTest, AnEqualValueIsNotWritten) {
    const DefaultsFile defaults(path());
    write("<plist><dict><key>a</key><string>1</string></dict></plist>");
    ASSERT_TRUE(defaults.update("a", to("1")));
    EXPECT_EQ(content(path()), "<plist><dict><key>a</key><string>1</string></dict></plist>");
}

TEST_F(DefaultsFileTest, ALinkStaysALink) {
    fs::create_directories(folder_ / "sub");
    std::ofstream(folder_ / "real.plist") << "<plist><dict/></plist>";
    fs::create_symlink(folder_ / "real.plist", path());
    ASSERT_TRUE(DefaultsFile(path()).update("a", to("1")));
    EXPECT_TRUE(fs::is_symlink(path()));
    EXPECT_EQ(DefaultsFile(folder_ / "real.plist").read("a"), PropertyList("1"));
}

TEST_F(DefaultsFileTest, ChangesMadeAtTheSameTimeAllSurvive) {
    const auto append = [this](const std::string& text) {
        for (int i = 0; i < 25; ++i) {
            const auto result =
                DefaultsFile(path()).update("list", [&](const PropertyList* stored) {
                    auto array = stored ? *stored->asArray() : PropertyList::Array();
                    array.emplace_back(text + std::to_string(i));
                    return PropertyList(array);
                });
            ASSERT_TRUE(result) << result.error();
            // Whoever reads while others write sees a whole file.
            ASSERT_TRUE(DefaultsFile(path()).read("list"));
        }
    };
    std::vector<std::thread> writers;
    for (const char* name : {"a", "b", "c"})
        writers.emplace_back(append, name);
    for (std::thread& writer : writers)
        writer.join();
    EXPECT_EQ(DefaultsFile(path()).read("list")->asArray()->size(), 75u);
}

TEST_F(DefaultsFileTest, ALockThatIsNeverReleasedDoesNotStopAChange) {
    ASSERT_TRUE(DefaultsFile(path()).update("a", to("1")));
    const FileLock other(path() + ".lock", FileLock::Patience::brief);
    ASSERT_TRUE(other.isHeld());
    EXPECT_FALSE(FileLock(path() + ".lock", FileLock::Patience::brief).isHeld());
    EXPECT_TRUE(DefaultsFile(path()).update("a", to("2")));
    EXPECT_EQ(DefaultsFile(path()).read("a"), PropertyList("2"));
}

TEST(DefaultsFilePath, FollowsTheEnvironment) {
    const struct {
        const char* own;
        const char* config;
        const char* home;
        const char* expected;
    } cases[] = {
        {"/x/own.plist", "/config", "/home/u", "/x/own.plist"},
        {nullptr, "/config", "/home/u", "/config/org.vardex.Brindle/defaults.plist"},
        {"", "relative", "/home/u", "/home/u/.config/org.vardex.Brindle/defaults.plist"},
        {nullptr, nullptr, "/home/u", "/home/u/.config/org.vardex.Brindle/defaults.plist"},
    };
    const auto set = [](const char* name, const char* value) {
        value ? setenv(name, value, 1) : unsetenv(name);
    };
    for (const auto& c : cases) {
        set("BRINDLE_DEFAULTS", c.own);
        set("XDG_CONFIG_HOME", c.config);
        set("HOME", c.home);
        EXPECT_EQ(DefaultsFile::standardPath(), c.expected);
    }
}

} // namespace
} // namespace brindle::platform
