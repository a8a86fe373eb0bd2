// SPDX-License-Identifier: BSD-2-Clause
#include "core/annotate/PortNameTable.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <unordered_map>

#include <gtest/gtest.h>

namespace brindle {
namespace {

using Names = std::unordered_map<std::string, std::string>;

class PortNameTableTest : public testing::Test {
  protected:
    void SetUp() override {
        char pattern[] = "/tmp/brindle-ports-XXXXXX";
        folder_ = mkdtemp(pattern);
    }
    void TearDown() override { std::filesystem::remove_all(folder_); }

    auto load(const std::string& bytes) const {
        std::ofstream(folder_ / "ports.plist") << bytes;
        return loadPortNames(folder_ / "ports.plist");
    }

    std::filesystem::path folder_;
};

TEST_F(PortNameTableTest, WrongShapesGiveNoNamesAndUnreadableFilesAFailure) {
    const struct {
        const char* root;
        Names expected;
    } cases[] = {
        {"<dict><key>443</key><string>https</string><key>0443</key><string>x</string></dict>",
         {{"443", "https"}, {"0443", "x"}}}, // keys are texts, not numbers
        {"<dict/>", {}},
        {"<array><string>https</string></array>", {}},
        {"<dict><key>443</key><string>https</string><key>80</key><integer>1</integer></dict>", {}},
    };
    for (const auto& [root, expected] : cases)
        EXPECT_EQ(load(std::string("<plist>") + root + "</plist>").value(), expected) << root;
    EXPECT_FALSE(load("<plist><dict><key>443"));
    EXPECT_FALSE(loadPortNames(folder_ / "missing.plist"));
}

TEST_F(PortNameTableTest, TheApplicationsTableHasTheNamesPeopleExpect) {
    const auto names = loadPortNames(BRINDLE_PORTS_TABLE);
    ASSERT_TRUE(names) << names.error();
    EXPECT_GT(names->size(), 5000u);
    const Names expected{{"22", "ssh"},    {"25", "smtp"},    {"53", "domain"},
                         {"80", "http"},   {"123", "ntp"},    {"143", "imap"},
                         {"443", "https"}, {"514", "syslog"}, {"3389", "rdp"},
                         {"5353", "mdns"}, {"6000", "x11"},   {"51820", "wireguard"}};
    for (const auto& [port, name] : expected)
        EXPECT_EQ(names->at(port), name) << port;
    for (const auto& [port, name] : *names) {
        EXPECT_EQ(std::to_string(std::stoi(port)), port) << "never found under a log's number";
        EXPECT_FALSE(name.empty()) << port;
    }
}

} // namespace
} // namespace brindle
