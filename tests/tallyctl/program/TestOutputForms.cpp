// SPDX-License-Identifier: BSD-2-Clause
#include "tallyctl/program/RecordLines.h"
#include "tallyctl/program/ReplyText.h"
#include "tallyctl/program/TextForms.h"

#include <cstdlib>
#include <ctime>
#include <functional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace brindle::tallyctl {
namespace {

using ::testing::HasSubstr;

class TallyctlOutput : public ::testing::Test {
  protected:
    TallyctlOutput() {
        ::setenv("TZ", "UTC", 1);
        ::tzset();
    }

    static std::shared_ptr<const RecordBatch> batch() {
        RecordBatchBuilder builder;
        RecordRow row{.epoch = 1700000000.5,
                      .uid = 4294967295u,
                      .srcport = 51234,
                      .dstport = 443,
                      .rule = builder.intern("say \"no\",\n\x1b[2J\xff"),
                      .action = builder.intern("block"),
                      .direction = builder.intern("in"),
                      .interface = builder.intern("em0"),
                      .srcip = builder.intern("192.0.2.1"),
                      .dstip = builder.intern("2001:db8::1"),
                      .proto = builder.intern("tcp")};
        builder.add(row);
        row.epoch = 1700000000;
        row.rule = builder.intern("12");
        row.srcport = 0;
        row.uid = 0;
        builder.add(row);
        row.epoch = 1699999999;
        builder.add(row);
        return builder.finish();
    }

    static std::string lines(Format format) {
        RecordLines writer(format);
        std::string out = writer.heading();
        writer.append(*batch(), out);
        return out;
    }
};

TEST_F(TallyctlOutput, JsonLinesCarryTheDictionaryKeysAndTextValuesOnly) {
    const std::string out = lines(Format::jsonl);
    const std::string second = R"({"date":"2023/11/14 22:13:20","epoch":"1700000000.0","uid":"0",)"
                               R"("rule":"12","action":"block","direction":"in",)"
                               R"("interface":"em0","srcip":"192.0.2.1","srcport":"0",)"
                               R"("dstip":"2001:db8::1","dstport":"443","proto":"tcp"})";
    EXPECT_THAT(out, HasSubstr("\n" + second + "\n"));
    EXPECT_THAT(out, HasSubstr(R"("date":"2023/11/14 22:13:19","epoch":"1699999999.0")"));
    const auto first = nlohmann::json::parse(out.substr(0, out.find('\n')));
    EXPECT_EQ(first["rule"], "say \"no\",\n\x1b[2J\xef\xbf\xbd");
    EXPECT_EQ(first["epoch"], "1700000000.5");
    EXPECT_EQ(first["uid"], "4294967295");
}

TEST_F(TallyctlOutput, CsvQuotesWhatWouldBreakALine) {
    EXPECT_THAT(lines(Format::csv),
                ::testing::StartsWith(
                    "date,epoch,uid,rule,action,direction,interface,srcip,srcport,dstip,dstport,"
                    "proto\n2023/11/14 22:13:20,1700000000.5,4294967295,\"say \"\"no\"\",\n\x1b[2J"
                    "\xff\",block,in,em0,192.0.2.1,51234,2001:db8::1,443,tcp\n"));
}

TEST_F(TallyctlOutput, TablesStayInColumnsAndSendNoControlCharacters) {
    const std::string out = lines(Format::table);
    EXPECT_EQ(out.find('\x1b'), out.npos);
    EXPECT_THAT(out, HasSubstr("tcp       say \"no\",\\x0a\\x1b[2J"));
    const auto heading = out.substr(0, out.find('\n'));
    const auto last = out.substr(out.rfind("2023/11/14"));
    EXPECT_EQ(heading.find("dstport"), last.find("443"));
    EXPECT_EQ(heading.find("rule"), last.find("12\n"));
}

TEST_F(TallyctlOutput, ARecordWithoutATextLeavesItsKeyOut) {
    RecordDictionary record = recordDictionary(*batch(), 1);
    record.remove(RecordKey::date);
    record.remove(RecordKey::proto);
    std::string out;
    RecordLines(Format::jsonl).append(record, out);
    const auto object = nlohmann::json::parse(out);
    EXPECT_EQ(object.size(), 10u);
    EXPECT_EQ(object["epoch"], "1700000000.0");
    out.clear();
    RecordLines(Format::csv).append(record, out);
    EXPECT_EQ(out, ",1700000000.0,0,12,block,in,em0,192.0.2.1,0,2001:db8::1,443,\n");
}

TEST_F(TallyctlOutput, TerminalTextIsHarmlessInEveryEncoding) {
    const std::pair<const char*, const char*> cases[]{
        {"plain", "plain"},
        {"a\x1b[31m", "a\\x1b[31m"},
        {"\x7f", "\\x7f"},
        {"gr\xc3\xbc\xc3\x9f", "gr\xc3\xbc\xc3\x9f"}, // U+00DF ends in a byte of the C1 range
        {"\xc2\x9b", "\xc2\\x9b"},
        {"\x9b"
         "1m",
         "\\x9b1m"},
    };
    for (const auto& [text, expected] : cases) {
        std::string out;
        appendTerminalText(out, text);
        EXPECT_EQ(out, expected);
    }
}

TEST_F(TallyctlOutput, CountsKeepOrderKeysAndTypes) {
    const std::vector<CountEntry> entries{{"2001:db8::1", 12, true, false},
                                          {"443", 3, false, true}};
    EXPECT_EQ(countText(entries, Format::jsonl),
              "{\"label\":\"2001:db8::1\",\"value\":12,\"isIP\":true,\"isPort\":false}\n"
              "{\"label\":\"443\",\"value\":3,\"isIP\":false,\"isPort\":true}\n");
    EXPECT_EQ(countText(entries, Format::csv), "label,value,isIP,isPort\n"
                                               "2001:db8::1,12,true,false\n443,3,false,true\n");
    EXPECT_EQ(countText(entries, Format::table), "label             value\n"
                                                 "2001:db8::1          12\n"
                                                 "443                   3\n");
    EXPECT_EQ(countText({}, Format::jsonl), "");
}

TEST_F(TallyctlOutput, StatusTellsEveryFigureInBothForms) {
    DaemonStatus status{.received = 10,
                        .stored = 7,
                        .lost = {{"no addresses", 2}, {"cut short", 1}},
                        .rows = 70,
                        .storeBytes = 4096,
                        .oldest = 1.5,
                        .newest = 1700000000,
                        .clients = 2,
                        .liveClients = 1,
                        .liveLost = 5,
                        .sources = {}};
    status.sources.push_back({"replay:/p@1", "running", 10, 7, {{"no addresses", 2}}});
    const auto object = nlohmann::json::parse(statusText(status, Format::jsonl));
    const auto expected = nlohmann::json::parse(R"({"received":10,"stored":7,
        "lost":{"cut short":1,"no addresses":2},"rows":70,"storeBytes":4096,"oldest":1.5,
        "newest":1700000000.0,"clients":2,"liveClients":1,"liveLost":5,"sources":[{"name":
        "replay:/p@1","state":"running","received":10,"stored":7,"lost":{"no addresses":2}}]})");
    EXPECT_EQ(object, expected);
    const std::string table = statusText(status, Format::table);
    EXPECT_THAT(table, HasSubstr("lost          3 (cut short: 1, no addresses: 2)\n"));
    EXPECT_THAT(table, HasSubstr("newest        2023/11/14 22:13:20\n"));
    EXPECT_THAT(table, HasSubstr("replay:/p@1: running, received 10, stored 7, lost 2 (no addr"));
    EXPECT_THAT(statusText({}, Format::jsonl), HasSubstr("\"oldest\":null"));
}

} // namespace
} // namespace brindle::tallyctl
