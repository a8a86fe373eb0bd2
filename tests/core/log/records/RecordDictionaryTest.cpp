// SPDX-License-Identifier: BSD-2-Clause
#include "core/log/records/RecordDictionary.h"
#include "core/log/records/RecordText.h"
#include "core/net/DecimalText.h"

#include <cstdlib>
#include <ctime>
#include <limits>

#include <gtest/gtest.h>

namespace brindle {
namespace {

class RecordDictionaryTest : public testing::Test {
  protected:
    void SetUp() override { setZone("UTC"); }
    static void setZone(const char* zone) {
        setenv("TZ", zone, 1);
        tzset();
    }

    static LiveRecordDictionary liveRecord() {
        LiveRecordDictionary live;
        live.set(LiveKey::EPOCH, 1700000000.0);
        live.set(LiveKey::UID, std::int64_t{501});
        live.set(LiveKey::RULE, "12.authpf.3");
        live.set(LiveKey::ACTION, "block");
        live.set(LiveKey::DIRECTION, "in");
        live.set(LiveKey::INTERFACE, "em0");
        live.set(LiveKey::SRCIP, "192.0.2.7");
        live.set(LiveKey::SRCPORT, std::int64_t{51234});
        live.set(LiveKey::DSTIP, "198.51.100.1");
        live.set(LiveKey::DSTPORT, std::int64_t{443});
        live.set(LiveKey::PROTO, "tcp");
        live.set(LiveKey::IPVER, std::int64_t{4});
        live.set(LiveKey::SEQ, std::int64_t{9});
        return live;
    }
};

TEST_F(RecordDictionaryTest, LiveConversionCarriesEveryKeyAsText) {
    const auto record = convertLiveRecord(liveRecord());
    ASSERT_TRUE(record);
    const std::pair<RecordKey, std::string_view> expected[] = {
        {RecordKey::date, "2023/11/14 22:13:20"},
        {RecordKey::epoch, "1700000000.0"},
        {RecordKey::uid, "501"},
        {RecordKey::rule, "12.authpf.3"},
        {RecordKey::action, "block"},
        {RecordKey::direction, "in"},
        {RecordKey::interface, "em0"},
        {RecordKey::srcip, "192.0.2.7"},
        {RecordKey::srcport, "51234"},
        {RecordKey::dstip, "198.51.100.1"},
        {RecordKey::dstport, "443"},
        {RecordKey::proto, "tcp"}};
    for (const auto& [key, text] : expected)
        EXPECT_EQ(record->get(key), text) << keyName(key);
}

TEST_F(RecordDictionaryTest, LiveConversionLeavesOutMissingTextsAndRefusesMissingNumbers) {
    for (const LiveKey key : {LiveKey::RULE, LiveKey::SRCIP, LiveKey::PROTO}) {
        LiveRecordDictionary live = liveRecord();
        live.set(key, std::int64_t{3}); // another type counts as missing
        const auto record = convertLiveRecord(live);
        ASSERT_TRUE(record) << keyName(key);
        EXPECT_TRUE(record->firstMissing()) << keyName(key);
    }
    for (const LiveKey key : {LiveKey::EPOCH, LiveKey::UID, LiveKey::SRCPORT, LiveKey::DSTPORT}) {
        LiveRecordDictionary live = liveRecord();
        live.set(key, std::monostate{});
        EXPECT_FALSE(convertLiveRecord(live)) << keyName(key);
        live.set(key, "443");
        EXPECT_FALSE(convertLiveRecord(live)) << keyName(key);
    }
}

TEST_F(RecordDictionaryTest, QueryRowsAndLiveRecordsReadAlike) {
    RecordBatchBuilder builder;
    RecordRow row;
    row.epoch = 1700000000.0;
    row.uid = 501;
    row.srcport = 51234;
    row.dstport = 443;
    row.rule = builder.intern("12.authpf.3");
    row.action = builder.intern("block");
    row.direction = builder.intern("in");
    row.interface = builder.intern("em0");
    row.srcip = builder.intern("192.0.2.7");
    row.dstip = builder.intern("198.51.100.1");
    row.proto = builder.intern("tcp");
    builder.add(row);
    EXPECT_EQ(recordDictionary(*builder.finish(), 0), *convertLiveRecord(liveRecord()));
}

TEST_F(RecordDictionaryTest, DatesFollowTheLocalZoneAndNotTheLocale) {
    EXPECT_EQ(dateText(0), "1970/01/01 00:00:00");
    EXPECT_EQ(dateText(-0.5), "1969/12/31 23:59:59");
    setZone("America/New_York");
    EXPECT_EQ(dateText(1700000000.999), "2023/11/14 17:13:20");
    // The hour that comes twice when summer time ends.
    EXPECT_EQ(dateText(1699162200), "2023/11/05 01:30:00");
    EXPECT_EQ(dateText(1699165800), "2023/11/05 01:30:00");
    EXPECT_EQ(dateText(std::numeric_limits<double>::quiet_NaN()), "");
    EXPECT_EQ(dateText(1e300), "");
}

TEST_F(RecordDictionaryTest, EpochTextsReadBackToTheSameNumber) {
    EXPECT_EQ(epochText(1700000000), "1700000000.0");
    EXPECT_EQ(epochText(1700000000.25), "1700000000.25");
    for (const double epoch : {0.1, 1700000000.123456, -1.5, 1e300, 5e-324}) {
        const auto back = epochFromText(epochText(epoch));
        ASSERT_TRUE(back) << epochText(epoch);
        EXPECT_EQ(*back, epoch);
    }
    for (const char* text : {"", " 1", "1 ", "1x", "nan", "inf", "+-1", "0x10"})
        EXPECT_FALSE(epochFromText(text)) << text;
    EXPECT_EQ(epochFromText("+1.5"), 1.5);
}

TEST_F(RecordDictionaryTest, IntegersTakeASignAndDigitsOnly) {
    EXPECT_EQ(decimalInteger("-2"), -2);
    EXPECT_EQ(decimalInteger("+80"), 80);
    EXPECT_EQ(decimalInteger("0080"), 80);
    EXPECT_EQ(decimalInteger("-9223372036854775808"), std::numeric_limits<std::int64_t>::min());
    for (const char* text : {"", "+", "-", "+-1", "1.0", " 1", "1 ", "9223372036854775808", "1e3"})
        EXPECT_FALSE(decimalInteger(text)) << text;
}

TEST_F(RecordDictionaryTest, MicrosecondsSurviveTheWayThroughADouble) {
    for (const std::int64_t micros : {std::int64_t{0}, std::int64_t{1700000000123456},
                                      std::int64_t{4102444799999999}, std::int64_t{-1}})
        EXPECT_EQ(microsFromEpoch(epochFromMicros(micros)), micros);
    EXPECT_EQ(microsFromEpoch(1e300), std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(microsFromEpoch(-1e300), std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(microsFromEpoch(std::numeric_limits<double>::quiet_NaN()), 0);
}

TEST_F(RecordDictionaryTest, BatchesRefuseRowsThatNameTextsThatAreNotThere) {
    RecordRow row;
    row.dstip = 1;
    EXPECT_EQ(RecordBatch::fromParts({row}, "a", {1}), nullptr);
    EXPECT_NE(RecordBatch::fromParts({row}, "ab", {1, 2}), nullptr);
    EXPECT_EQ(RecordBatch::fromParts({row}, "ab", {2, 1}), nullptr); // ends run backwards
    EXPECT_EQ(RecordBatch::fromParts({row}, "ab", {1, 3}), nullptr); // beyond the characters
    EXPECT_EQ(RecordBatch::fromParts({RecordRow{}}, "", {}), nullptr);
}

TEST_F(RecordDictionaryTest, BatchesHoldEachTextOnceAndAFullBatchOfDistinctOnes) {
    RecordBatchBuilder builder;
    while (!builder.full()) {
        RecordRow row;
        const std::string n = std::to_string(builder.size());
        TextIndex* const slots[] = {&row.rule,  &row.action, &row.direction, &row.interface,
                                    &row.srcip, &row.dstip,  &row.proto};
        for (std::size_t i = 0; i < std::size(slots); ++i)
            *slots[i] = builder.intern(n + "/" + std::to_string(i));
        EXPECT_EQ(builder.intern(n + "/0"), row.rule);
        builder.add(row);
    }
    const auto batch = builder.finish();
    EXPECT_EQ(batch->textCount(), RecordBatch::kMaxRows * 7);
    const RecordRow& last = batch->row(batch->size() - 1);
    EXPECT_EQ(batch->text(last.proto), std::to_string(batch->size() - 1) + "/6");
    EXPECT_EQ(builder.size(), 0u);
    EXPECT_EQ(builder.intern("anew"), 0);
}

} // namespace
} // namespace brindle
