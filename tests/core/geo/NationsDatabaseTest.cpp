// SPDX-License-Identifier: BSD-2-Clause
#include "core/geo/NationsDatabase.h"

#include "core/net/NWKIPTools.h"
#include "core/net/VDMatchIP.h"
#include "tests/core/geo/Fixture.h"

#include <optional>
#include <random>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace brindle {
namespace {

using testing::ElementsAre;

class NationsDatabaseTest : public testing::Test {
  protected:
    DatabaseFile file;
    TellingPictures pictures;
    std::vector<std::string> lines;
    NationsDatabase database{[this](const std::string& line) { lines.push_back(line); }, pictures,
                             file.path()};

    std::vector<std::string> linesOfImport() {
        lines.clear();
        database.importNationsDB();
        return lines;
    }
};

TEST_F(NationsDatabaseTest, EntriesKeepTheFilesOrderKeysAndBlocks) {
    file.write(Nations{{"it", {"2.32.0.0/11", "", "5.8.0.0/19"}}, {"FR", {}}, {"xk", {"1/8"}}});
    EXPECT_THAT(linesOfImport(), ElementsAre("imported 3 nations"));
    const auto& nations = database.nationsDatabase();
    ASSERT_EQ(nations.size(), 3u);
    EXPECT_EQ(nations[0].isoName, "it");
    EXPECT_EQ(nations[0].name, "Italy");
    EXPECT_EQ(pictureName(nations[0].flag), "it");
    ASSERT_EQ(nations[0].nationAddresses.size(), 3u);
    EXPECT_EQ(nations[0].nationAddresses[1], "");
    EXPECT_EQ(nations[0].nationAddresses[2], "5.8.0.0/19");
    EXPECT_EQ(nations[1].isoName, "FR");
    EXPECT_EQ(nations[1].name, "France");
    EXPECT_EQ(nations[2].name, "Unknown (ISO:xk)");
    EXPECT_TRUE(nations[2].flag.isEmpty());
}

TEST_F(NationsDatabaseTest, FailedImportsSayWhichAndLeaveTheDatabase) {
    const auto list = [](const std::string& root) {
        return "<plist version=\"1.0\">" + root + "</plist>";
    };
    const std::vector<std::string> otherShapes{
        list("<string>it</string>"), list("<array></array>"),
        list("<dict><key>it</key><string>2.32.0.0/11</string></dict>"),
        list("<dict><key>it</key><array><integer>1</integer></array></dict>"),
        list("<dict><key>it</key><array><string>a</string></array>"
             "<key>fr</key><array><array/></array></dict>")};
    const std::vector<std::string> noLists{"", "nonsense", "bplist00", "<plist><dict>",
                                           "bplist00" + std::string(60, 'a')};
    for (const bool filled : {false, true}) {
        std::filesystem::remove(file.path());
        if (filled) {
            file.write(Nations{{"it", {"2.32.0.0/11"}}, {"fr", {"5.0.0.0/8"}}});
            ASSERT_THAT(linesOfImport(), ElementsAre("imported 2 nations"));
            std::filesystem::remove(file.path());
        }
        const std::string count = filled ? "imported 2 nations" : "imported 0 nations";
        EXPECT_THAT(linesOfImport(), ElementsAre("Error importing nations db", count));
        for (const std::string& bytes : noLists) {
            file.write(bytes);
            EXPECT_THAT(linesOfImport(), ElementsAre("Error importing nations db", count)) << bytes;
        }
        for (const std::string& bytes : otherShapes) {
            file.write(bytes);
            EXPECT_THAT(linesOfImport(), ElementsAre(count)) << bytes;
        }
        EXPECT_EQ(database.firstMatch(0x02200001) != nullptr, filled);
    }
    NationsDatabase folder([this](const std::string& line) { lines.push_back(line); }, pictures,
                           file.folder());
    lines.clear();
    folder.importNationsDB();
    EXPECT_THAT(lines, ElementsAre("Error importing nations db", "imported 0 nations"));
}

TEST_F(NationsDatabaseTest, AnImportReplacesTheDatabaseAsAWhole) {
    file.write(Nations{{"it", {"2.32.0.0/11"}}, {"fr", {"5.0.0.0/8"}}});
    database.importNationsDB();
    file.write(Nations{{"fr", {"2.32.0.0/11"}}});
    EXPECT_THAT(linesOfImport(), ElementsAre("imported 1 nations"));
    EXPECT_EQ(database.firstMatch(0x02200001)->isoName, "fr");
    EXPECT_EQ(database.firstMatch(0x05000001), nullptr);
    file.write("<plist version=\"1.0\"><dict/></plist>");
    EXPECT_THAT(linesOfImport(), ElementsAre("imported 0 nations"));
    EXPECT_EQ(database.firstMatch(0x02200001), nullptr);
}

/// The answer by its definition: every block of every nation, in order.
std::optional<std::string> walk(const NationsDatabase& database, const std::string& address) {
    for (const VDXNationVisualizer& nation : database.nationsDatabase())
        for (std::size_t i = 0; i < nation.nationAddresses.size(); ++i)
            if (const auto block = nation.nationAddresses[i]; !block.empty())
                if (VDMatchIP().matchIP(address, block))
                    return nation.isoName;
    return std::nullopt;
}

/// Few networks and all prefixes, so that blocks nest, repeat and overlap; some no blocks at all.
std::string someBlock(std::mt19937& random) {
    static const char* const odd[] = {"1.2.3.4",  "1.2.3.0/33",  "1.2.3.0/-1",  "host/8",
                                      "/8",       "300.0.0.0/8", "1.2.3.0/ 24", "0x40.1/16",
                                      "010.1/16", "64.65/16/8",  "64.0.0.0/x",  "64.66.0.0/15y",
                                      " ",        "\t/0"};
    if (random() % 24 == 0)
        return odd[random() % std::size(odd)];
    const std::uint32_t ends[] = {0, 0xFFFFFFFF, 0x40000000, 0x3FFFFFFF, 0x40410000};
    const std::uint32_t network = ends[random() % 5] ^ (random() % 4) << (random() % 31);
    const unsigned prefix = random() % 40 == 0 ? 0 : 1 + random() % 32;
    return ipv4StringFromNumber(network) + "/" + std::to_string(prefix);
}

TEST_F(NationsDatabaseTest, TheIndexAnswersAsAWalkOverAllBlocksDoes) {
    for (unsigned seed = 1; seed <= 150; ++seed) {
        std::mt19937 random(seed);
        Nations nations;
        for (unsigned n = 1 + random() % 8; n > 0; --n) {
            std::vector<std::string> blocks;
            for (unsigned b = random() % 12; b > 0; --b)
                blocks.push_back(someBlock(random));
            nations.emplace_back("n" + std::to_string(n), std::move(blocks));
        }
        file.write(nations);
        database.importNationsDB();
        std::vector<std::uint32_t> addresses{0, 0xFFFFFFFF, 0x40000000, 0x3FFFFFFF};
        for (const auto& [key, blocks] : nations)
            for (const std::string& block : blocks)
                if (const auto range = matchRange(block))
                    for (const std::uint32_t step : {0u, 1u, 0xFFFFFFFFu})
                        addresses.insert(addresses.end(),
                                         {range->first + step, range->last + step});
        for (const std::uint32_t address : addresses) {
            const std::string text = ipv4StringFromNumber(address);
            const auto* match = database.firstMatch(address);
            ASSERT_EQ(match ? std::optional(match->isoName) : std::nullopt, walk(database, text))
                << "seed " << seed << " address " << text;
        }
    }
}

} // namespace
} // namespace brindle
