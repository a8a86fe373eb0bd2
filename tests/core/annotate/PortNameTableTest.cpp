// SPDX-License-Identifier: BSD-2-Clause
#include "core/annotate/PortNameTable.h"

#include <fstream>
#include <iterator>
#include <string>
#include <unordered_map>

#include <gtest/gtest.h>

namespace brindle {
namespace {

using Names = std::unordered_map<std::string, std::string>;

TEST(PortNameTableTest, WrongShapesGiveNoNamesAndUnreadableOnesAFailure) {
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
        EXPECT_EQ(loadPortNames(std::string("<plist>") + root + "</plist>").value(), expected)
            << root;
    EXPECT_FALSE(loadPortNames("<plist><dict><key>443"));
    EXPECT_FALSE(loadPortNames("")); // the resource is not there
}

TEST(PortNameTableTest, TheApplicationsTableHasTheNamesPeopleExpect) {
    std::ifstream file(BRINDLE_PORTS_TABLE, std::ios::binary);
    const std::string bytes(std::istreambuf_iterator<char>(file), {});
    const auto names = loadPortNames(bytes);
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
