// SPDX-License-Identifier: BSD-2-Clause
#include "core/geo/builder/NationRanges.h"

#include "tests/core/geo/Fixture.h"

#include <random>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace brindle {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Pair;

NationRanges read(const std::string& text) {
    std::istringstream in(text);
    return readNationRanges(in).value();
}

TEST(NationRanges, LinesBecomeRangesOfTheirNation) {
    const NationRanges nations = read("# Licence: -- some --\n"
                                      "16777216,16777471,AU\r\n\n"
                                      "1.0.1.0,1.0.1.255,au\n"
                                      "0,4294967295,UK\n"
                                      "5,6,??\n7,8,??\n9,9,CS\n");
    EXPECT_THAT(nations.ranges,
                ElementsAre(Pair("au", ElementsAre(Ipv4Range{0x01000000, 0x010000FF},
                                                   Ipv4Range{0x01000100, 0x010001FF})),
                            Pair("gb", ElementsAre(Ipv4Range{0, 0xFFFFFFFF}))));
    EXPECT_THAT(nations.leftOut, ElementsAre(Pair("??", 2), Pair("cs", 1)));
    EXPECT_THAT(nations.notes, ElementsAre(" Licence: -- some --"));
}

TEST(NationRanges, UnreadableLinesAreNamed) {
    for (const char* line : {"1,2", "1", ",,AU", "2,1,AU", "-1,2,AU", "1,4294967296,AU",
                             "1.2.3,2,AU", "1 ,2,AU", "a,b,AU"}) {
        std::istringstream in("# note\n" + std::string(line) + "\n");
        const auto nations = readNationRanges(in);
        ASSERT_FALSE(nations) << line;
        EXPECT_THAT(nations.error(), HasSubstr("line 2 "));
    }
}

TEST(NationRanges, BlocksAreTheFewestThatCoverTheRanges) {
    struct Case {
        std::vector<Ipv4Range> ranges;
        std::vector<std::string> blocks;
    };
    for (const auto& [ranges, blocks] :
         std::vector<Case>{{{}, {}},
                           {{{0, 0xFFFFFFFF}}, {"0.0.0.0/0"}},
                           {{{0, 0x7FFFFFFF}, {0x80000000, 0xFFFFFFFF}}, {"0.0.0.0/0"}},
                           {{{0xFFFFFFFF, 0xFFFFFFFF}}, {"255.255.255.255/32"}},
                           {{{1, 6}}, {"0.0.0.1/32", "0.0.0.2/31", "0.0.0.4/31", "0.0.0.6/32"}},
                           {{{0x0A000100, 0x0A0001FF}, {0x0A000000, 0x0A0000FF}}, {"10.0.0.0/23"}},
                           {{{0x0A000000, 0x0A0000FF}, {0x0A000010, 0x0A000020}}, {"10.0.0.0/24"}},
                           {{{0x0A000000, 0x0A0002FF}}, {"10.0.0.0/23", "10.0.2.0/24"}}})
        EXPECT_EQ(blocksOfRanges(ranges), blocks);
}

TEST(NationRanges, TheDatabaseAnswersWithTheNationOfEveryRange) {
    std::mt19937 random(5);
    std::ostringstream lines;
    std::vector<std::pair<Ipv4Range, std::string>> expected;
    const char* const codes[] = {"IT", "FR", "DE", "??"};
    for (std::uint32_t next = 0; next < 0xF0000000;) {
        const std::uint32_t last = next + random() % (1u << (random() % 26));
        const char* code = codes[random() % 4];
        lines << next << ',' << last << ',' << code << '\n';
        expected.emplace_back(Ipv4Range{next, last}, code);
        next = last + 1 + (random() % 2 ? 0 : random() % 100);
    }
    const DatabaseFile file;
    std::ostringstream xml;
    writeNationBlocks(read("# a -- note ---\n" + lines.str()), xml);
    file.write(xml.str());
    const TellingPictures pictures;
    NationsDatabase database([](const std::string&) {}, pictures, file.path());
    database.importNationsDB();
    ASSERT_EQ(database.nationsDatabase().size(), 3u);
    for (const auto& [range, code] : expected)
        for (const std::uint32_t address : {range.first, range.last}) {
            const auto* nation = database.firstMatch(address);
            ASSERT_EQ(nation ? nation->isoName : "", code == "IT"   ? "it"
                                                     : code == "FR" ? "fr"
                                                     : code == "DE" ? "de"
                                                                    : "");
        }
}

} // namespace
} // namespace brindle
