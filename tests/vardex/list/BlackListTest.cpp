// SPDX-License-Identifier: BSD-2-Clause
#include "vardex/list/BlackList.h"
#include "vardex/list/BlackListFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include <sys/wait.h>
#include <unistd.h>

namespace brindle::vardex {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

AddressBlock block(std::string_view text) {
    return *AddressBlock::parse(text);
}

std::vector<std::string> texts(const BlackList& list) {
    std::vector<std::string> result;
    for (const BlackListEntry& entry : list)
        result.push_back(entry.block.text());
    return result;
}

TEST(BlackListChanges, KeepTheFirstTimeAndForgetNoInsistence) {
    BlackList list;
    EXPECT_EQ(addBlocks(list, {block("192.0.2.1"), block("192.0.2.2"), block("192.0.2.1")}, 100,
                        Insistence::none),
              2u);
    EXPECT_EQ(addBlocks(list, {block("192.0.2.2"), block("192.0.2.3")}, 200, Insistence::insisted),
              1u);
    EXPECT_EQ(addBlocks(list, {block("192.0.2.2")}, 300, Insistence::none), 0u);
    EXPECT_EQ(list, (BlackList{{block("192.0.2.1"), 100, Insistence::none},
                               {block("192.0.2.2"), 100, Insistence::insisted},
                               {block("192.0.2.3"), 200, Insistence::insisted}}));
    EXPECT_EQ(applyText(list), "192.0.2.1\nforce 192.0.2.2\nforce 192.0.2.3\n");
    removeBlocks(list, {block("192.0.2.1"), block("192.0.2.9")});
    EXPECT_THAT(texts(list), ElementsAre("192.0.2.2", "192.0.2.3"));
}

TEST(BlackListChanges, AListThatIsFullStaysAsItIs) {
    std::vector<AddressBlock> many;
    for (std::size_t i = 0; i < kMaximumEntries + 5; ++i)
        many.push_back(block("100." + std::to_string(64 + i / 65536) + '.' +
                             std::to_string(i / 256 % 256) + '.' + std::to_string(i % 256)));
    BlackList list;
    EXPECT_EQ(addBlocks(list, many, 1, Insistence::none), kMaximumEntries);
    EXPECT_EQ(addBlocks(list, many, 1, Insistence::insisted), 0u);
    EXPECT_EQ(list.size(), kMaximumEntries);
}

TEST(BlackListTexts, AreReadAsPeopleWriteThem) {
    const ReadBlocks read = blocksOfText("# mine\n\n 192.0.2.1\t# why\r\n203.0.113.7/24 2026\n"
                                         "2001:db8::1#x\nexample.org # no\n10.0.0.0/40");
    std::vector<std::string> understood;
    for (const AddressBlock& one : read.blocks)
        understood.push_back(one.text());
    EXPECT_THAT(understood, ElementsAre("192.0.2.1", "203.0.113.0/24", "2001:db8::1"));
    EXPECT_THAT(read.notUnderstood, ElementsAre("example.org", "10.0.0.0/40"));
    EXPECT_THAT(blocksOfTexts({"192.0.2.1", " 192.0.2.2", ""}).notUnderstood,
                ElementsAre(" 192.0.2.2", ""));
}

TEST(BlackListTexts, OfTheFileComeBackAsTheyWere) {
    const BlackList list{{block("192.0.2.1"), 0, Insistence::none},
                         {block("2001:db8::/32"), 1795420800, Insistence::insisted}};
    EXPECT_EQ(fileText(list), "# Vardex's black list: an address or block, when it was added, "
                              "\"insisted\" where it is.\n192.0.2.1 1970-01-01T00:00:00Z\n"
                              "2001:db8::/32 2026-11-23T08:00:00Z insisted\n");
    EXPECT_EQ(readFileText(fileText(list)).list, list);
    EXPECT_THAT(texts({readFileText(exportText(list)).list}), IsEmpty()); // no times in it
    EXPECT_EQ(blocksOfText(exportText(list)).blocks.size(), 2u);
    for (const char* line : {"192.0.2.1", "192.0.2.1 yesterday", "192.0.2 2026-11-23T08:00:00Z",
                             "192.0.2.1 2026-11-23T08:00:00Z forced",
                             "192.0.2.1 2026-11-23T08:00:00Z insisted twice", "\xff\xfe"})
        EXPECT_EQ(readFileText(line).unreadableLines, 1u) << line;
}

class BlackListFileTest : public testing::Test {
  protected:
    BlackListFileTest() {
        std::string made = (fs::temp_directory_path() / "listXXXXXX").string();
        folder = mkdtemp(made.data());
        path = (folder / "org.vardex.Vardex" / "blacklist").string();
    }
    ~BlackListFileTest() override { fs::remove_all(folder); }

    static std::string contentOf(const fs::path& file) {
        std::ifstream stream(file, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
    void write(const std::string& bytes) {
        fs::create_directories(fs::path(path).parent_path());
        std::ofstream(path, std::ios::binary) << bytes;
    }
    BlackListFile::State add(std::string_view text) {
        return BlackListFile(path).update(
            [&](BlackList& list) { addBlocks(list, {block(text)}, 5, Insistence::none); });
    }

    fs::path folder;
    std::string path;
};

TEST_F(BlackListFileTest, KeepsWhatWasAddedWhoeverElseAdds) {
    EXPECT_THAT(BlackListFile(path).load().list, IsEmpty());
    EXPECT_EQ(add("192.0.2.1").warning, "");
    EXPECT_THAT(texts(add("192.0.2.2").list), ElementsAre("192.0.2.1", "192.0.2.2"));
    std::vector<std::thread> others;
    for (int i = 0; i < 4; ++i)
        others.emplace_back([this, i] {
            for (int k = 0; k < 5; ++k)
                add("198.51.100." + std::to_string(10 * i + k));
        });
    for (std::thread& other : others)
        other.join();
    EXPECT_EQ(BlackListFile(path).load().list.size(), 22u);
    EXPECT_EQ(fs::status(path).permissions() & fs::perms::all,
              fs::perms::owner_read | fs::perms::owner_write);
}

/// Killed in the middle of changes, again and again: the list is always a whole one.
TEST_F(BlackListFileTest, AKilledProgramLeavesTheOldListOrTheNewOne) {
    BlackListFile(path).update([](BlackList& list) {
        for (int i = 0; i < 2000; ++i)
            addBlocks(list,
                      {block("10.0." + std::to_string(i / 256) + '.' + std::to_string(i % 256))}, 5,
                      Insistence::none);
    });
    for (int round = 0; round < 20; ++round) {
        const pid_t child = fork();
        if (child == 0) {
            for (int i = 0;; ++i) {
                BlackListFile(path).update([&](BlackList& list) {
                    if (i % 2 == 0)
                        list.push_back({block("192.0.2.1"), 5, Insistence::none});
                    else
                        list.pop_back();
                });
            }
        }
        usleep(3000 + 700 * static_cast<useconds_t>(round));
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        const auto state = BlackListFile(path).load();
        EXPECT_EQ(state.warning, "");
        ASSERT_THAT(state.list.size(), testing::AnyOf(2000u, 2001u));
    }
    EXPECT_FALSE(fs::exists(path + ".unreadable-1"));
}

TEST_F(BlackListFileTest, LinesThatCannotBeReadAreSetAsideAndTheOthersKept) {
    const std::string damaged = "192.0.2.1 2026-11-23T08:00:00Z\n\x01\x02garbage\n"
                                "192.0.2.2 2026-11-23T08:00:00Z insisted\n192.0.2.3 2026-11";
    write(damaged);
    const auto state = BlackListFile(path).load();
    EXPECT_THAT(texts(state.list), ElementsAre("192.0.2.1", "192.0.2.2"));
    EXPECT_EQ(state.warning, "2 lines of the black list could not be read; it was set aside as " +
                                 path + ".unreadable-1");
    EXPECT_EQ(contentOf(path + ".unreadable-1"), damaged);
    EXPECT_EQ(BlackListFile(path).load().warning, "");
    EXPECT_THAT(texts(add("192.0.2.4").list), ElementsAre("192.0.2.1", "192.0.2.2", "192.0.2.4"));

    // An older one that was set aside is not overwritten either.
    write("other damage");
    EXPECT_THAT(add("192.0.2.5").warning, HasSubstr(".unreadable-2"));
    EXPECT_EQ(contentOf(path + ".unreadable-1"), damaged);
    EXPECT_EQ(contentOf(path + ".unreadable-2"), "other damage");
}

TEST_F(BlackListFileTest, WhatIsNoFileIsSetAsideAsItIs) {
    fs::create_directories(fs::path(path) / "inside");
    EXPECT_THAT(add("192.0.2.1").warning, HasSubstr("could not be read: Is a directory"));
    EXPECT_TRUE(fs::exists(path + ".unreadable-1/inside"));
    EXPECT_THAT(texts(BlackListFile(path).load().list), ElementsAre("192.0.2.1"));
}

TEST_F(BlackListFileTest, AListThatCannotBeSavedIsTold) {
    // The folder's place is taken: nobody can make files there, root neither.
    std::ofstream(folder / "org.vardex.Vardex") << "in the way";
    const auto state = add("192.0.2.1");
    EXPECT_THAT(texts(state.list), ElementsAre("192.0.2.1"));
    EXPECT_THAT(state.warning, HasSubstr("not saved"));
    EXPECT_EQ(contentOf(folder / "org.vardex.Vardex"), "in the way");
}

} // namespace
} // namespace brindle::vardex
