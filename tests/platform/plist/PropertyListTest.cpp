// SPDX-License-Identifier: BSD-2-Clause
#include "platform/plist/PropertyList.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace brindle::platform {
namespace {

using testing::HasSubstr;
using testing::Not;

PropertyList everyType() {
    PropertyList list;
    list.set("text", "a <b> & \"c\" ä");
    list.set("empty", "");
    list.set("negative", std::int64_t{-5});
    list.set("large", std::int64_t{9223372036854775807});
    list.set("real", 0.1);
    list.set("yes", true);
    list.set("no", false);
    list.set("date", PropertyList::Date{1'000'000'000});
    list.set("data", PropertyList::Data{0, 255, 10});
    list.set("array", PropertyList::Array{PropertyList("x"), PropertyList(PropertyList::Array{})});
    list.set("inner", PropertyList(PropertyList::Dictionary{{"z", "1"}, {"a", "2"}}));
    return list;
}

TEST(PropertyList, EveryTypeSurvivesBeingWrittenAndReadInOrder) {
    const auto read = parsePropertyList(propertyListXml(everyType()));
    ASSERT_TRUE(read) << read.error();
    EXPECT_EQ(*read, everyType());
}

TEST(PropertyList, BinaryFormIsRead) {
    // {"ab": [1, true, -1]} as other programs write it.
    const std::string binary(
        "bplist00\xD1\x01\x02\x52\x61\x62\xA3\x03\x04\x05\x10\x01\x09\x13"
        "\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x08\x0B\x0E\x12\x14\x15"
        "\0\0\0\0\0\0\x01\x01\0\0\0\0\0\0\0\x06\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\x1E",
        68);
    const auto read = parsePropertyList(binary);
    ASSERT_TRUE(read) << read.error();
    const PropertyList::Array expected{std::int64_t{1}, true, std::int64_t{-1}};
    EXPECT_EQ(*read, PropertyList(PropertyList::Dictionary{{"ab", PropertyList(expected)}}));
}

TEST(PropertyList, DamagedBytesAreAnErrorNotAnEmptyOrPartialList) {
    const auto nested = [](int depth) {
        std::string list = "<plist>";
        for (int i = 0; i < depth; ++i)
            list += "<array>";
        for (int i = 0; i < depth; ++i)
            list += "</array>";
        return list + "</plist>";
    };
    for (const std::string& bytes :
         {std::string(), std::string("no list"), std::string("<plist></plist>"),
          std::string("<plist><dict><key>a</key><string>b</string>"),
          std::string("<plist><array><string>b</string></plist>"),
          std::string("<plist><array><unheard/></array></plist>"), std::string("bplist00"),
          "bplist00" + std::string(60, 'a'), nested(2000), nested(1'000'000)}) {
        const auto read = parsePropertyList(bytes);
        ASSERT_FALSE(read) << bytes;
        EXPECT_THAT(read.error(), Not(HasSubstr("\n")));
    }
}

std::string bigEndian(std::uint64_t value, int bytes) {
    std::string text;
    for (int shift = (bytes - 1) * 8; shift >= 0; shift -= 8)
        text += static_cast<char>(value >> shift & 0xFF);
    return text;
}

/// A binary list of these objects, the first one its root; references have four bytes.
std::string binaryList(const std::vector<std::string>& objects) {
    std::string list = "bplist00";
    std::string offsets;
    for (const std::string& object : objects) {
        offsets += bigEndian(list.size(), 4);
        list += object;
    }
    const std::size_t table = list.size();
    return list + offsets + std::string(6, '\0') + "\x04\x04" + bigEndian(objects.size(), 8) +
           bigEndian(0, 8) + bigEndian(table, 8);
}

TEST(PropertyList, BinaryListsThatWouldEndTheProcessAreErrors) {
    const auto chain = [](std::uint64_t depth) {
        std::vector<std::string> objects;
        for (std::uint64_t i = 1; i < depth; ++i)
            objects.push_back("\xA1" + bigEndian(i, 4));
        objects.push_back("\xA0");
        return binaryList(objects);
    };
    std::vector<std::string> doubling;
    for (std::uint64_t i = 1; i < 40; ++i)
        doubling.push_back("\xA2" + bigEndian(i, 4) + bigEndian(i, 4));
    doubling.push_back("\xA0");
    const std::string cycle = binaryList({"\xA1" + bigEndian(0, 4)});
    const std::string dictionary = "\xD1" + bigEndian(1, 4) + bigEndian(2, 4);
    const std::string value("\x53"
                            "a\0b",
                            4);
    const std::string wide("\x62\0a\0\0", 5);
    // A long text, and an array of it, each referred to a hundred times.
    std::string hundred = "\xAF\x10\x64";
    for (int i = 0; i < 100; ++i)
        hundred += bigEndian(1, 4);
    std::string hundredTexts = hundred;
    std::string text = "\x5F\x11" + bigEndian(20'000, 2) + std::string(20'000, 'a');
    for (std::size_t place = 6; place < hundredTexts.size(); place += 4)
        hundredTexts[place] = 2;
    EXPECT_TRUE(parsePropertyList(binaryList({hundredTexts, "\x09", text})));
    EXPECT_FALSE(parsePropertyList(binaryList({hundred, hundredTexts, text})));
    // Eight levels of ten references each.
    std::vector<std::string> tens;
    for (std::uint64_t i = 1; i <= 8; ++i) {
        tens.push_back("\xAA");
        for (int reference = 0; reference < 10; ++reference)
            tens.back() += bigEndian(i, 4);
    }
    tens.push_back("\x09");
    EXPECT_FALSE(parsePropertyList(binaryList(tens)));
    EXPECT_TRUE(parsePropertyList(chain(100)));
    EXPECT_TRUE(parsePropertyList(binaryList({dictionary, "\x51k", value})));
    for (const std::string& bytes :
         {chain(300'000), binaryList(doubling), cycle, binaryList({dictionary, value, "\x51v"}),
          binaryList({dictionary, wide, "\x51v"})})
        EXPECT_FALSE(parsePropertyList(bytes)) << bytes.size();
}

TEST(PropertyList, SetReplacesAKeyAndLooksUpOnlyInDictionaries) {
    PropertyList list("text");
    EXPECT_EQ(list.find("text"), nullptr);
    list.set("key", std::int64_t{1});
    list.set("key", std::int64_t{2});
    ASSERT_NE(list.asDictionary(), nullptr);
    EXPECT_EQ(list.asDictionary()->size(), 1u);
    EXPECT_EQ(*list.find("key"), PropertyList(std::int64_t{2}));
}

TEST(PropertyList, FileErrorsNameTheFile) {
    char pattern[] = "/tmp/brindle-plist-XXXXXX";
    const std::filesystem::path folder = mkdtemp(pattern);
    const std::string path = folder / "some.plist";
    EXPECT_EQ(readPropertyList(path).error(), path + ": No such file or directory");
    std::ofstream(path) << "nonsense";
    EXPECT_EQ(readPropertyList(path).error(), path + ": not a property list");
    std::ofstream(path) << "\xEF\xBB\xBF" << propertyListXml(everyType());
    EXPECT_EQ(readPropertyList(path).value(), everyType());
    EXPECT_FALSE(readPropertyList(folder));
    std::filesystem::remove_all(folder);
}

} // namespace
} // namespace brindle::platform
