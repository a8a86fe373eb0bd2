// SPDX-License-Identifier: BSD-2-Clause
#include "platform/plist/TextArrays.h"

#include "platform/plist/PlainXml.h"
#include "platform/plist/PropertyList.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <random>
#include <string>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

namespace brindle::platform {
namespace {

/// What the general reader makes of the bytes: the answer that the quick way must not differ from.
tl::expected<std::optional<TextArrays>, std::string> byGeneralReader(const std::string& bytes) {
    const auto list = parsePropertyList(bytes);
    if (!list)
        return tl::unexpected(list.error());
    const auto* dictionary = list->asDictionary();
    if (!dictionary)
        return std::nullopt;
    TextArraysMaker lists;
    for (const auto& [key, value] : *dictionary) {
        if (!value.asArray())
            return std::nullopt;
        TextArray texts;
        for (const PropertyList& item : *value.asArray()) {
            if (!item.asString())
                return std::nullopt;
            texts.push_back(*item.asString());
        }
        lists.add(key, std::move(texts));
    }
    return std::move(lists).take();
}

const std::string kHead = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                          "<!DOCTYPE plist SYSTEM \"some.dtd\">\n<!-- a note -->\n"
                          "<plist version=\"1.0\">\n<dict>\n";
const std::string kTail = "</dict>\n</plist>\n";
const std::string kItaly = "\t<key>it</key>\n\t<array>\n\t\t<string>2.32.0.0/11</string>\n"
                           "\t\t<string></string>\n\t\t<string>5.8.0.0/19</string>\n\t</array>\n";
const std::string kFrance = "\t<key>fr</key>\n\t<array/>\n";

TEST(TextArrays, ThePlainFormIsReadTheQuickWay) {
    const auto lists = parsePlainXml(kHead + kItaly + kFrance + kTail);
    ASSERT_TRUE(lists);
    ASSERT_EQ(lists->size(), 2u);
    EXPECT_EQ((*lists)[0].key, "it");
    ASSERT_EQ((*lists)[0].texts.size(), 3u);
    EXPECT_EQ((*lists)[0].texts[0], "2.32.0.0/11");
    EXPECT_EQ((*lists)[0].texts[1], "");
    EXPECT_EQ((*lists)[0].texts[2], "5.8.0.0/19");
    EXPECT_EQ((*lists)[1].key, "fr");
    EXPECT_TRUE((*lists)[1].texts.empty());
}

TEST(TextArrays, OddFormsGiveTheGeneralReadersAnswer) {
    const auto item = [](const std::string& xml) {
        return kHead + "<key>it</key><array>" + xml + "</array>" + kTail;
    };
    const std::vector<std::string> documents{
        "",
        "no list",
        kHead,
        kHead + kTail,
        kHead + kItaly,
        kHead + kItaly + "</dict>",
        kHead + kItaly + kTail + "more",
        kHead + kItaly + kTail + kTail,
        "\xEF\xBB\xBF" + kHead + kItaly + kTail,
        "\xEF\xBB\xBF\xEF\xBB\xBF" + kHead + kTail,
        kHead + kItaly + kFrance + kItaly + kTail,
        kHead + kItaly + "<key>it</key><array/>" + kTail,
        kHead + "<key>it</key><string>2.32.0.0/11</string>" + kTail,
        kHead + "<key>it</key><dict></dict>" + kTail,
        kHead + "<key>it</key>" + kTail,
        kHead + "<key>it</key>" + kItaly + kTail,
        kHead + "<array></array>" + kTail,
        kHead + "<key/><array/>" + kTail,
        kHead + "<key></key><array/>" + kTail,
        kHead + "<key>a &amp; b</key><array/>" + kTail,
        kHead + "<key> it </key><array/>" + kTail,
        item("<string>a &amp; b</string>"),
        item("<string>&#65;</string>"),
        item("<string>&nothing;</string>"),
        item("<string> 1.2.3.0/24 </string>"),
        item("<string/>"),
        item("<string />"),
        item("<string ></string >"),
        item("<!-- x --><string>a</string>"),
        item("<string>a<!-- x -->b</string>"),
        item("<string><![CDATA[a]]></string>"),
        item("<string>\xC3\xA4</string>"),
        item("<string>\xFF</string>"),
        item("<integer>1</integer>"),
        item("<true/>"),
        item("<string>a</string><array/>"),
        item("<string>a<string>b</string></string>"),
        item("<string>a"),
        item("<string>a</key>"),
        item(std::string("<string>a\0b</string>", 20)),
        "<plist version=\"1.0\"><string>a</string></plist>",
        "<plist version=\"1.0\"><dict/></plist>",
        "<plist version=\"1.0\"></plist>",
        "<plist version=\"1.0\"/>",
        "<plist><dict></dict></plist>",
        "<dict>" + kItaly + "</dict>",
        "<?xml<plist version=\"1.0\"><dict></dict></plist>",
        "<!-- before --><plist version=\"1.0\"><dict></dict></plist>",
        "<!DOCTYPE plist [<!ENTITY a \"b\">]><plist version=\"1.0\"><dict></dict></plist>",
        "<!DOCTYPE plist><!---><plist version=\"1.0\"><dict></dict></plist>",
        "<!DOCTYPE plist><!-- > --><plist version=\"1.0\"><dict></dict></plist>",
        "<?xml a?><?xml b?><plist version=\"1.0\"><dict></dict></plist>"};
    for (const std::string& document : documents)
        EXPECT_EQ(parseTextArrays(document), byGeneralReader(document)) << document;
}

TEST(TextArrays, DamagedDocumentsGiveTheGeneralReadersAnswer) {
    std::mt19937 random(7);
    const std::string whole = kHead + kItaly + kFrance + kItaly + kTail;
    const std::string pieces[] = {"<",       ">",        "/",      "&",     " ",        "!",
                                  "-",       "?",        "[",      "x",     "<string>", "</string>",
                                  "<array>", "</array>", "<dict>", "<key>", "-->"};
    for (int round = 0; round < 20000; ++round) {
        std::string document = whole;
        for (unsigned change = 1 + random() % 2; change > 0; --change) {
            const std::size_t place = random() % document.size();
            if (random() % 2)
                document.erase(place, 1 + random() % 8);
            else
                document.replace(place, random() % 3, pieces[random() % std::size(pieces)]);
        }
        ASSERT_EQ(parseTextArrays(document), byGeneralReader(document)) << document;
    }
}

TEST(TextArrays, FilesLongerThanAnyBufferKeepEveryTextAndKey) {
    PropertyList list;
    TextArrays expected;
    std::mt19937 random(11);
    for (int key = 0; key < 300; ++key) {
        PropertyList::Array array;
        TextArray texts;
        for (unsigned i = random() % 400; i > 0; --i) {
            const std::string text(random() % 24, static_cast<char>('a' + random() % 26));
            array.push_back(PropertyList(text));
            texts.push_back(text);
        }
        const std::string name = "key" + std::to_string(key);
        list.set(name, std::move(array));
        expected.push_back({name, std::move(texts)});
    }
    const std::string xml = propertyListXml(list);
    ASSERT_GT(xml.size(), 1'000'000u);
    EXPECT_TRUE(parsePlainXml(xml) == std::optional(expected));

    char path[] = "/tmp/brindle-texts-XXXXXX";
    close(mkstemp(path));
    // A text longer than any that is taken in one piece, and space that is longer still.
    const std::string longText(50'000, 'x');
    const std::string space(600'000, ' ');
    for (const std::string& more :
         {std::string(), space + "<array><string>" + longText + "</string></array>"}) {
        std::string document = xml;
        if (!more.empty())
            document.insert(document.find("</dict>"), "<key>more</key>" + more);
        std::ofstream(path) << document;
        EXPECT_EQ(readTextArrays(path), byGeneralReader(document));
        EXPECT_EQ(parseTextArrays(document), byGeneralReader(document));
    }
    std::remove(path);
}

TEST(TextArrays, BinaryFormIsRead) {
    // {"it": ["a", ""]} and {"it": [1]} as other programs write them.
    const auto binary = [](const std::string& objects, const std::string& offsets) {
        std::string trailer(32, '\0');
        trailer[6] = trailer[7] = 1;
        trailer[15] = static_cast<char>(offsets.size());
        trailer[31] = static_cast<char>(8 + objects.size());
        return "bplist00" + objects + offsets + trailer;
    };
    const auto lists = parseTextArrays(binary("\xD1\x01\x02\x52it\xA2\x03\x04\x51"
                                              "a\x50",
                                              "\x08\x0B\x0E\x11\x13"));
    ASSERT_TRUE(lists && *lists);
    ASSERT_EQ((*lists)->size(), 1u);
    EXPECT_EQ((**lists)[0].key, "it");
    ASSERT_EQ((**lists)[0].texts.size(), 2u);
    EXPECT_EQ((**lists)[0].texts[0], "a");
    EXPECT_EQ((**lists)[0].texts[1], "");
    const auto numbers =
        parseTextArrays(binary("\xD1\x01\x02\x52it\xA1\x03\x10\x01", "\x08\x0B\x0E\x10"));
    ASSERT_TRUE(numbers);
    EXPECT_FALSE(*numbers);
}

} // namespace
} // namespace brindle::platform
