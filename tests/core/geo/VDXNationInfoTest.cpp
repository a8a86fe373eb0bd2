// SPDX-License-Identifier: BSD-2-Clause
#include "core/geo/VDXNationInfo.h"

#include "core/geo/NationNames.h"
#include "tests/core/geo/Fixture.h"

#include <set>
#include <thread>

#include <gtest/gtest.h>

namespace brindle {
namespace {

TEST(NationNames, KeysOfEitherCaseFindTheirRow) {
    struct Case {
        const char* key;
        const char* name; ///< null: no row
    };
    for (const auto& [key, name] : {Case{"it", "Italy"},
                                    {"IT", "Italy"},
                                    {"iT", "Italy"},
                                    {"AD", "Andorra"},
                                    {"ZW", "Zimbabwe"},
                                    {"ZZ", "Unknown"},
                                    {"EU", "European Union"},
                                    {"AP", "Asia Pacific"},
                                    {"CI", "Cote d Ivoire"},
                                    {"SZ", "eSwatini"},
                                    {"KP", "Korea DPR"},
                                    {"GW", "Guinea-Bissau"},
                                    {"XK", nullptr},
                                    {"UK", nullptr},
                                    {"", nullptr},
                                    {"I", nullptr},
                                    {"ITA", nullptr},
                                    {"I\xC3", nullptr}}) {
        EXPECT_EQ(nationName(key).value_or("-"), name ? name : "-") << key;
    }
    EXPECT_EQ(nationNames().size(), 252u);
}

class VDXNationInfoTest : public testing::Test {
  protected:
    DatabaseFile file;
    TellingPictures pictures;
    NationsDatabase database{[](const std::string&) {}, pictures, file.path()};
    VDXNationInfo nationInfo{database, pictures, platform::makeSerialQueue("nationinfoqueue")};

    void import(const Nations& nations) {
        file.write(nations);
        database.importNationsDB();
    }
    std::string nameOf(const std::string& address) { return nationInfo.nationInfo(address)->name; }
};

TEST_F(VDXNationInfoTest, DecisionsAreTakenInTheirOrder) {
    struct Case {
        const char* address;
        const char* empty;  ///< answer without a database
        const char* filled; ///< answer with one
    };
    const char* const unknown = "Unknown location";
    const char* const local = "Local Area Network";
    const char* const loopback = "Loopback Interface";
    const char* const ipv6 = "IPv6 Address Space";
    const std::vector<Case> cases{
        {"8.8.8.8", unknown, unknown},      {"127.0.0.1", unknown, loopback},
        {"127.", unknown, loopback},        {"127.host", unknown, loopback},
        {"0x7f.1", unknown, "Italy"}, // by number 127.0.0.1, by text nothing special
        {"10.1.2.3", unknown, local},       {"10.1", unknown, local},
        {"172.16.5.5", unknown, local},     {"172.31.255.255", unknown, local},
        {"172.32.0.1", unknown, "France"},  {"172.15.255.255", unknown, "France"},
        {"192.168.0.10", unknown, local},   {"192.169.0.1", unknown, unknown},
        {"169.254.1.1", unknown, local},    {"fc", unknown, local},
        {"fd.example.org", unknown, local}, {"FD00", unknown, unknown},
        {"fe80", unknown, unknown},         {"", unknown, unknown},
        {"some.host", unknown, unknown},    {"2.32.0.1", unknown, "Italy"},
        {"2.63.255.255", unknown, "Italy"}, {"2.64.0.0", unknown, unknown},
        {"2.32.1", unknown, "Italy"},       {"2a00:1450::1", ipv6, ipv6},
        {"::ffff:8.8.8.8", ipv6, ipv6},     {"fd00::1", ipv6, ipv6},
        {"127.0.0.1:80", ipv6, ipv6}};
    for (const Case& c : cases)
        EXPECT_EQ(nameOf(c.address), c.empty) << c.address;

    import({{"it", { "2.32.0.0/11", "127.0.0.0/8", "10.0.0.0/8" }}, { "fr", { "172.0.0.0/8" } }});
    VDXNationInfo fresh(database, pictures, platform::makeSerialQueue("nationinfoqueue"));
    for (const Case& c : cases)
        EXPECT_EQ(fresh.nationInfo(c.address)->name, c.filled) << c.address;
    // Answers given before stay, whatever was loaded since.
    for (const Case& c : cases)
        EXPECT_EQ(nameOf(c.address), c.empty) << c.address;
}

TEST_F(VDXNationInfoTest, AnswersStayWhenTheDatabaseChanges) {
    import({{"it", { "2.0.0.0/8" }}, { "fr", { "2.0.0.0/8", "5.0.0.0/8" } }});
    EXPECT_EQ(nameOf("2.0.0.1"), "Italy"); // the first of two that overlap
    EXPECT_EQ(nameOf("2.1"), "Italy");
    import({{"fr", { "2.0.0.0/8" }}, { "it", { "5.0.0.0/8" } }});
    EXPECT_EQ(nameOf("2.0.0.1"), "Italy");
    EXPECT_EQ(nameOf("2.1"), "Italy");
    EXPECT_EQ(nameOf("2.0.0.2"), "France");
    EXPECT_EQ(nameOf("5.0.0.1"), "Italy");
    EXPECT_EQ(nameOf("2.0.01"), "France"); // the same address in other words is asked anew
}

TEST_F(VDXNationInfoTest, AnswersCarryTheirPicturesAndKeys) {
    import({{"it", { "2.0.0.0/8" }}, {"xk", { "3.0.0.0/8" }}, { "DE", { "4.0.0.0/8" } }});
    struct Case {
        const char* address;
        const char* isoName; ///< null: absent
        const char* oval;
        const char* small;
        const char* name;
    };
    const char* const globe = "oval 64x48 scaled 64x48 terra";
    const char* const smallGlobe = "scaled 16x16 scaled 64x48 terra";
    for (const Case& c :
         {Case{"2.0.0.1", "it", "oval 64x48 scaled 64x48 it", "scaled 24x16 scaled 64x48 it",
               "Italy"},
          {"3.0.0.1", "xk", globe, smallGlobe, "Unknown location"},
          {"4.0.0.1", "DE", globe, smallGlobe, "Germany"},
          {"8.8.8.8", nullptr, globe, smallGlobe, "Unknown location"},
          {"::1", nullptr, globe, smallGlobe, "IPv6 Address Space"},
          {"127.0.0.1", nullptr, "NSComputer", "NSComputer", "Loopback Interface"},
          {"10.0.0.1", nullptr, "homelanicon", "homelanicon", "Local Area Network"}}) {
        const NationInfo answer = nationInfo.nationInfo(c.address);
        EXPECT_EQ(answer->name, c.name);
        EXPECT_EQ(answer->isoName.value_or("-"), c.isoName ? c.isoName : "-") << c.address;
        EXPECT_EQ(pictureName(answer->ovalImage), c.oval) << c.address;
        EXPECT_EQ(pictureName(answer->smallImage), c.small) << c.address;
    }
    nationInfo.nationInfo("2.0.0.2");
    nationInfo.nationInfo("9.9.9.9");
    for (const auto& [name, count] : pictures.made)
        EXPECT_EQ(count, 1) << name;
}

TEST_F(VDXNationInfoTest, AFlagThatCannotBeDrawnGivesTheGlobe) {
    struct BrokenFlag final : ImageEffects {
        Picture load(std::string_view) const override { return {}; }
        bool has(const std::string&) const override { return true; }
        PictureSize size(const Picture& picture) const override {
            return pictureName(picture) == "it" ? PictureSize{} : PictureSize{16, 16};
        }
        Picture roundImage(const Picture& source, double, double) const override { return source; }
        Picture resizedImage(const Picture& source, double width, double) const override {
            return width > 0 ? source : Picture();
        }
    } broken;
    import({{ "it", { "2.0.0.0/8" } }});
    VDXNationInfo info(database, broken, platform::makeSerialQueue("nationinfoqueue"));
    EXPECT_EQ(pictureName(info.nationInfo("2.0.0.1")->ovalImage), "terra");
    EXPECT_EQ(info.nationInfo("2.0.0.1")->isoName, "it");
}

TEST_F(VDXNationInfoTest, ManyThreadsGetTheSameAnswers) {
    import({{"it", { "2.0.0.0/8" }}, { "fr", { "5.0.0.0/8" } }});
    std::vector<std::set<const NationInfoRecord*>> seen(4);
    std::vector<std::thread> threads;
    for (auto& mine : seen)
        threads.emplace_back([this, &mine] {
            for (int i = 0; i < 2000; ++i) {
                const std::string rest =
                    ".0." + std::to_string(i / 200) + "." + std::to_string(i % 200);
                mine.insert(nationInfo.nationInfo("2" + rest).get());
                mine.insert(nationInfo.nationInfo("5" + rest).get());
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    for (const auto& mine : seen)
        EXPECT_EQ(mine, seen[0]);
    EXPECT_EQ(seen[0].size(), 2u);
}

TEST(AnswerCache, KeepsTheFirstAnswerOfEachTextWhileItGrows) {
    AnswerCache cache;
    EXPECT_FALSE(cache.find("0.0.0.0"));
    const auto text = [](std::uint32_t i) {
        const std::string quad = std::to_string(i % 3) + "." + std::to_string(i / 256 % 256) + "." +
                                 std::to_string(i / 65536) + "." + std::to_string(i % 256);
        return i % 5 == 0 ? quad + " " : i % 5 == 1 ? "0" + quad : quad;
    };
    for (std::uint32_t i = 0; i < 50000; ++i) {
        ASSERT_FALSE(cache.find(text(i))) << text(i);
        cache.store(text(i), i);
        cache.store(text(i), i + 1);
    }
    for (std::uint32_t i = 0; i < 50000; ++i)
        ASSERT_EQ(cache.find(text(i)), i) << text(i);
}

} // namespace
} // namespace brindle
