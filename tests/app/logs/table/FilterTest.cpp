// SPDX-License-Identifier: BSD-2-Clause
#include "app/logs/table/DateTexts.h"
#include "app/logs/table/FilterExpression.h"
#include "core/log/records/RecordText.h"
#include "tests/app/logs/table/TableFixture.h"

#include <cmath>

#include <gtest/gtest.h>

namespace brindle {
namespace {

using testing::RowSpec;
using testing::TableFixture;

FilterExpression parsed(std::string_view text) {
    auto expression = FilterExpression::parse(text);
    EXPECT_TRUE(expression) << text << ": " << expression.error().sentence;
    return expression.value_or(FilterExpression());
}

FilterNames namesOf(LogTables& tables) {
    FilterNames names;
    std::vector<std::string> services(65536);
    for (std::size_t port = 0; port < services.size(); ++port)
        services[port] = tables.portNames.name(std::to_string(port));
    std::unordered_map<std::uint32_t, std::string> users;
    for (const std::uint32_t uid : {0u, 1000u, 1001u, 65534u, kNoUid})
        users[uid] = tables.userForUid(uid).name;
    names.services = std::make_shared<const std::vector<std::string>>(std::move(services));
    names.users =
        std::make_shared<const std::unordered_map<std::uint32_t, std::string>>(std::move(users));
    return names;
}

TEST(FilterExpression, FindsTheRowsThatEachKindOfTermDescribes) {
    TableFixture fixture;
    const std::vector<RowSpec> specs{
        {.uid = 1000, .rule = "12", .interface = "em1", .srcip = "10.1.2.3"},
        {.srcport = 22,
         .dstport = 1999,
         .rule = "112",
         .action = "pass",
         .direction = "out",
         .interface = "em10",
         .srcip = "10.1.2.30",
         .proto = "icmp"},
        {.uid = 1234,
         .srcport = 8080,
         .rule = "ssh/12",
         .srcip = "2001:db8::1",
         .dstip = "fe80::2",
         .proto = "ipv6-icmp"},
    };
    const auto batch = makeBatch(specs);
    std::vector<VDXLog> logs;
    for (std::size_t row = 0; row < specs.size(); ++row)
        logs.emplace_back(batch, row, fixture.tables);
    logs.emplace_back(batch, 0, fixture.tables);
    logs.back().setText(LogField::addresssrcip, "Mail.Example");

    // The last row is the first one with its source resolved.
    const std::vector<std::pair<std::string, std::vector<std::size_t>>> cases{
        {"", {0, 1, 2, 3}},
        {"  \t ", {0, 1, 2, 3}},
        {"ANNA", {0, 3}},
        {"1234", {2}},
        {"https", {0, 2, 3}},
        {"\"443 https\"", {0, 2, 3}},
        {"\"blocked in\"", {0, 2, 3}},
        {"-blocked", {1}},
        {"2023/11/14", {0, 1, 2, 3}},
        {"18:43:20", {0, 1, 2, 3}},
        {"2001:db8::1", {2}},
        {"mail", {3}},
        {"10.1.2.3", {0, 1, 3}},
        {"src:10.1.2.3", {0, 3}},
        {"src:10.1.2", {0, 1, 3}},
        {"src:1.2", {}},
        {"src:10.0.0.0/8", {0, 1, 3}},
        {"src:0.0.0.0/0", {0, 1, 3}},
        {"src:2001:db8::/32", {2}},
        {"src:2001:0DB8:0:0::1", {2}},
        {"dst:fe80::", {2}},
        {"dst:10.0.0.0/8", {}},
        {"addr:198.51.100.0/24 -addr:10.1.2.30", {0, 3}},
        {"src:example", {3}},
        {"host:mail", {3}},
        {"host:10", {}},
        {"-host:example", {0, 1, 2}},
        {"sport:22", {1}},
        {"dport:1000-2000", {1}},
        {"port:22", {1}},
        {"port:HTTPS", {0, 2, 3}},
        {"port:http", {}},
        {"service:http", {0, 2, 3}},
        {"sport:http-alt", {2}},
        {"user:ann", {0, 3}},
        {"user:123", {2}},
        {"uid:1000-1234", {0, 2, 3}},
        {"rule:12", {0, 2, 3}},
        {"rule:ssh", {2}},
        {"if:em1", {0, 3}},
        {"if:em", {0, 1, 2, 3}},
        {"proto:icmp", {1}},
        {"action:blocked", {0, 2, 3}},
        {"action:p dir:out", {1}},
        {"-dir:out rule:\"ssh/12\"", {2}},
        {"\"rule:12\"", {}},
    };
    for (const auto& [text, expected] : cases) {
        const FilterExpression expression = parsed(text);
        std::vector<std::size_t> found;
        for (std::size_t i = 0; i < logs.size(); ++i)
            if (expression.matches(logs[i]))
                found.push_back(i);
        EXPECT_EQ(found, expected) << text;
    }
}

TEST(FilterExpression, SaysWhereAndWhatIsWrong) {
    struct Case {
        std::string text;
        std::size_t position;
        std::size_t length;
        std::string sentence;
    };
    const std::vector<Case> cases{
        {"tcp src:10.0.0.0/33", 4, 15,
         "“10.0.0.0/33”: the prefix length of an IPv4 block is 0 to 32"},
        {"dst:2001:db8::/129", 0, 18,
         "“2001:db8::/129”: the prefix length of an IPv6 block is 0 to 128"},
        {"addr:10.0.0.0/", 0, 14, "“10.0.0.0/”: the prefix length of an IPv4 block is 0 to 32"},
        {"src:10/8", 0, 8, "“10/8”: “10” is no IPv4 or IPv6 address"},
        {"port:65536", 0, 10, "“65536”: a port is a number from 0 to 65535"},
        {"port:99999999999999999999", 0, 25,
         "“99999999999999999999”: a port is a number from 0 to 65535"},
        {"dport:2000-1000", 0, 15, "“2000-1000”: the range ends before it begins"},
        {"dport:2000-", 0, 11, "“2000-”: a range is written as 1000-2000"},
        {"uid:anna", 0, 8, "“anna”: a user id is a number; for names there is user:"},
        {"uid:4294967296", 0, 14, "“4294967296”: a user id is a number from 0 to 4294967295"},
        {"action:drop", 0, 11, "“drop”: the action is pass or block"},
        {"dir:up", 0, 6, "“up”: the direction is in or out"},
        {"a -src:", 2, 5, "“-src:”: an address is missing"},
        {"-", 0, 1, "“-”: what is to be left out is missing"},
        {"-\"\"", 0, 3, "“-\"\"”: there is nothing to look for"},
        {"\"a b", 0, 4, "“\"a b”: the quotation mark is not closed"},
        {"colour:red", 0, 10,
         "“colour:red”: there is no field “colour”; to look for the text, put it in quotation "
         "marks"},
    };
    for (const Case& c : cases) {
        const auto expression = FilterExpression::parse(c.text);
        ASSERT_FALSE(expression) << c.text;
        EXPECT_EQ(expression.error().sentence, c.sentence);
        EXPECT_EQ(expression.error().position, c.position) << c.text;
        EXPECT_EQ(expression.error().length, c.length) << c.text;
    }
}

TEST(FilterMatcher, JudgesBatchesAsItJudgesSingleRows) {
    TableFixture fixture(7);
    const FilterNames names = namesOf(fixture.tables);
    const std::vector<std::string> terms{
        "1",
        "em",
        "0",
        "nobody",
        "anna",
        "passed",
        "out",
        "ssh",
        "06/11/0",
        "00:0",
        ":59",
        "2006/10/29 0",
        "src:10.1",
        "dst:10.",
        "addr:fe80::1",
        "src:10.1.0.0/22",
        "addr:2001:db8::8/125",
        "dst:un",
        "port:443",
        "sport:1-999",
        "dport:ssh",
        "service:h",
        "user:b",
        "user:6553",
        "uid:0",
        "uid:1-2000",
        "rule:1",
        "rule:2",
        "if:em1",
        "proto:udp",
        "action:p",
        "dir:i",
        "host:e",
        "ALPHA",
        "-dst:10.0.0.0/9",
    };
    for (int round = 0; round < 150; ++round) {
        std::string text;
        for (int i = fixture.number(3); i >= 0; --i)
            text += (fixture.number(3) == 0 ? " -" : " ") +
                    (fixture.number(2) == 0 ? terms[0] : fixture.pick(terms));
        const auto expression = FilterExpression::parse(text);
        if (!expression)
            continue; // a term that was negated already
        FilterMatcher matcher(*expression, names);
        for (int batches = 0; batches < 2; ++batches) {
            const auto batch = fixture.randomBatch(200);
            const std::size_t first = static_cast<std::size_t>(fixture.number(10));
            std::vector<std::uint8_t> passes(batch->size() - first);
            matcher.match(*batch, first, passes);
            for (std::size_t i = 0; i < passes.size(); ++i)
                ASSERT_EQ(passes[i] != 0,
                          expression->matches(VDXLog(batch, first + i, fixture.tables)))
                    << text << ", row " << i;
        }
    }
}

TEST(DateTexts, AreThoseOfTheCalendarAroundEveryChangeOfTheClock) {
    TableFixture fixture(3);
    DateTexts dates;
    // A change at one minute past midnight, a year of five digits, before 1970, no time at all.
    for (const double around :
         {1162697460.0, 1173583860.0, 253402300799.0, -1000.0, 0.0, 1e12, 6.1e16, std::nan("")})
        for (int i = 0; i < 300; ++i) {
            const double epoch = around + fixture.number(40000) / 10.0 - 2000;
            ASSERT_EQ(dates.text(epoch), dateText(epoch)) << epoch;
        }
}

} // namespace
} // namespace brindle
