// SPDX-License-Identifier: BSD-2-Clause
#include "core/log/VDXLog.h"

#include <cstdlib>
#include <ctime>

#include <gtest/gtest.h>

namespace brindle {
namespace {

class VDXLogTest : public testing::Test {
  protected:
    void SetUp() override {
        setenv("TZ", "UTC", 1);
        tzset();
        tables.portNames = PortNames({{"443", "https"}, {"22", "ssh"}});
        const auto user = [](const char* name, const char* picture) {
            VDXSystemUser made;
            made.posixID = 1000;
            made.posixName = name;
            made.smallRoundImage = Picture::named(picture);
            return made;
        };
        tables.systemUserList = {user("anna", "anna.png"), user("second", "second.png")};
    }

    static RecordDictionary record() {
        RecordDictionary r;
        const std::pair<RecordKey, const char*> texts[] = {{RecordKey::date, "2023/11/14 22:13:20"},
                                                           {RecordKey::epoch, "1700000000.5"},
                                                           {RecordKey::uid, "1000"},
                                                           {RecordKey::rule, "12"},
                                                           {RecordKey::action, "block"},
                                                           {RecordKey::direction, "in"},
                                                           {RecordKey::interface, "em0"},
                                                           {RecordKey::srcip, "192.0.2.7"},
                                                           {RecordKey::srcport, "51234"},
                                                           {RecordKey::dstip, "2001:db8::1"},
                                                           {RecordKey::dstport, "443"},
                                                           {RecordKey::proto, "tcp"}};
        for (const auto& [key, text] : texts)
            r.set(key, text);
        return r;
    }
    static RecordDictionary with(RecordKey key, const char* text) {
        RecordDictionary r = record();
        r.set(key, text);
        return r;
    }
    VDXLog log(const RecordDictionary& r) { return VDXLog::fromDictionary(r, tables).value(); }

    int asked = 0;
    LogTables tables{[this](std::uint32_t uid) -> std::string {
        ++asked;
        return uid == 0 ? "root" : uid == 4294967295u ? "odd" : "";
    }};
};

TEST_F(VDXLogTest, EmptyRecordShowsNothing) {
    const VDXLog empty;
    for (int i = 0; i < static_cast<int>(LogField::count); ++i)
        EXPECT_EQ(empty.text(static_cast<LogField>(i)), "");
    EXPECT_EQ(empty.epoch(), 0);
    EXPECT_TRUE(empty.usericon().isEmpty());
    EXPECT_TRUE(empty.imageActionDirection().isEmpty());
    EXPECT_FALSE(empty.hasBeenReversed());
}

TEST_F(VDXLogTest, RowShowsEveryFieldOfItsRecordUnderItsName) {
    const VDXLog row = log(record());
    const std::pair<const char*, const char*> expected[] = {{"date", "2023/11/14 22:13:20"},
                                                            {"uid", "1000"},
                                                            {"username", "anna"},
                                                            {"rule", "12"},
                                                            {"action", "block"},
                                                            {"direction", "in"},
                                                            {"interface", "em0"},
                                                            {"srcip", "192.0.2.7"},
                                                            {"addresssrcip", "192.0.2.7"},
                                                            {"srcport", "51234"},
                                                            {"srcportname", ""},
                                                            {"dstip", "2001:db8::1"},
                                                            {"addressdstip", "2001:db8::1"},
                                                            {"dstport", "443"},
                                                            {"dstportname", "https"},
                                                            {"proto", "tcp"},
                                                            {"label", ""}};
    EXPECT_EQ(std::size(expected), static_cast<std::size_t>(LogField::count));
    for (const auto& [name, text] : expected) {
        const auto field = fieldFromName(name);
        ASSERT_TRUE(field) << name;
        EXPECT_EQ(row.text(*field), text) << name;
        EXPECT_EQ(fieldName(*field), name);
    }
    EXPECT_EQ(row.epoch(), 1700000000.5);
    EXPECT_EQ(row.usericon().content()->name, "anna.png");
}

TEST_F(VDXLogTest, OddTextsAreShownAsTheyCame) {
    const std::tuple<RecordKey, LogField, const char*> odd[] = {
        {RecordKey::date, LogField::date, "yesterday"},
        {RecordKey::uid, LogField::uid, "007"},
        {RecordKey::uid, LogField::uid, "x"},
        {RecordKey::srcport, LogField::srcport, "-1"},
        {RecordKey::dstport, LogField::dstport, "70000"},
        {RecordKey::dstport, LogField::dstport, "0443"},
        {RecordKey::action, LogField::action, "nat"},
        {RecordKey::srcip, LogField::addresssrcip, "not an address"}};
    for (const auto& [key, field, text] : odd)
        EXPECT_EQ(log(with(key, text)).text(field), text) << text;
    EXPECT_EQ(log(with(RecordKey::dstport, "0443")).text(LogField::dstportname), "");
}

TEST_F(VDXLogTest, RecordWithoutAKeyOrATimeMakesNoRow) {
    for (int i = 0; i < static_cast<int>(RecordKey::count); ++i) {
        RecordDictionary r = record();
        r.remove(static_cast<RecordKey>(i));
        EXPECT_FALSE(VDXLog::fromDictionary(r, tables)) << i;
    }
    EXPECT_FALSE(VDXLog::fromDictionary(with(RecordKey::epoch, "soon"), tables));
}

TEST_F(VDXLogTest, PictureFollowsActionAndDirection) {
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {"block", "out", "blockedup"}, {"block", "in", "blockeddown"}, {"block", "", "blockeddown"},
        {"pass", "out", "passedup"},   {"pass", "in", "passeddown"},   {"Block", "out", "passedup"},
        {"rdr", "fwd", "passeddown"}};
    for (const auto& [action, direction, name] : cases) {
        RecordDictionary r = with(RecordKey::action, action);
        r.set(RecordKey::direction, direction);
        EXPECT_EQ(log(r).imageActionDirection().content()->name, name) << action << direction;
    }
}

TEST_F(VDXLogTest, NameComesFromLocalUsersThenNobodyThenAccounts) {
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {"1000", "anna", "anna.png"},
        {"-2", "nobody", "NSUser"},
        {"-1", "nobody", "NSUser"},
        {"2147483647", "nobody", "NSUser"},
        {"4294967294", "nobody", "NSUser"},
        {"4294967295", "odd", "NSUser"},
        {"0", "root", "NSUser"},
        {"77", "", "NSUser"},
        {"-3", "", "NSUser"},
        {"4294967296", "", "NSUser"},
        {"99999999999", "", "NSUser"}};
    for (const auto& [uid, name, picture] : cases) {
        const VDXLog row = log(with(RecordKey::uid, uid));
        EXPECT_EQ(row.text(LogField::username), name) << uid;
        ASSERT_FALSE(row.usericon().isEmpty()) << uid;
        EXPECT_EQ(row.usericon().content()->name, picture) << uid;
    }
    for (const char* uid : {"", "12x", " 1"}) {
        const VDXLog row = log(with(RecordKey::uid, uid));
        EXPECT_EQ(row.text(LogField::username), "") << uid;
        EXPECT_TRUE(row.usericon().isEmpty()) << uid;
    }
}

TEST_F(VDXLogTest, AccountsAreAskedOnceEvenWhenThereIsNone) {
    for (int i = 0; i < 3; ++i) {
        log(with(RecordKey::uid, "77"));
        log(with(RecordKey::uid, "0"));
        log(with(RecordKey::uid, "-3"));
    }
    EXPECT_EQ(asked, 2);
}

TEST_F(VDXLogTest, ResolvedNameChangesTheDisplayedAddressOnly) {
    VDXLog row = log(record());
    row.setText(LogField::addresssrcip, "host.example");
    EXPECT_EQ(row.text(LogField::addresssrcip), "host.example");
    EXPECT_EQ(row.text(LogField::srcip), "192.0.2.7");
}

TEST_F(VDXLogTest, ARowStaysSmall) {
    EXPECT_LE(sizeof(VDXLog), 64u);
}

} // namespace
} // namespace brindle
