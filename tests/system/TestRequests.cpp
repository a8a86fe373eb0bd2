// SPDX-License-Identifier: BSD-2-Clause
//
// tallyctl's commands against a real daemon.
#include "tests/system/Workshop.h"

#include <algorithm>
#include <csignal>
#include <map>

namespace brindle::test {
namespace {

using nlohmann::json;

class Requests : public Workshop {
  protected:
    std::vector<json> objects(std::vector<std::string> words) const {
        words.insert(words.end(), {"--format", "jsonl"});
        const Finished answer = ask(std::move(words));
        EXPECT_EQ(answer.exitCode, 0) << answer.errors;
        std::vector<json> all;
        for (const std::string& line : linesOf(answer.output))
            all.push_back(json::parse(line));
        return all;
    }
};

TEST_F(Requests, PeriodsAreBoundedInclusivelyAndNewestFirst) {
    import({capture("freebsd", 500)});
    serve();
    const auto all = records();
    ASSERT_EQ(all.size(), 500u);
    const auto epoch = [](const json& record) {
        return std::stod(record.at("epoch").get<std::string>());
    };
    EXPECT_TRUE(std::is_sorted(all.rbegin(), all.rend(),
                               [&](const json& a, const json& b) { return epoch(a) < epoch(b); }));
    EXPECT_EQ(all[0].size(), 12u);
    const std::string from = all[300].at("epoch");
    const std::string to = all[200].at("epoch");
    const auto part = objects({"query", "--from", from, "--to", to});
    const auto expected = std::count_if(all.begin(), all.end(), [&](const json& record) {
        return epoch(record) >= std::stod(from) && epoch(record) <= std::stod(to);
    });
    EXPECT_GE(expected, 101);
    EXPECT_EQ(static_cast<long>(part.size()), expected);
    EXPECT_EQ(ask({"query", "--from", to, "--to", from, "--format", "jsonl"}).output, "");
    const auto csv = linesOf(ask({"query", "--from", from, "--to", to, "--format", "csv"}).output);
    EXPECT_EQ(csv.size(), part.size() + 1);
    EXPECT_EQ(ask({"rows"}).output, "500\n");
    EXPECT_EQ(ask({"newest"}).output, all.front().at("date").get<std::string>() + "\n");
    EXPECT_EQ(ask({"oldest"}).output, all.back().at("date").get<std::string>() + "\n");
}

TEST_F(Requests, CountsAndBreakdownsAgreeWithTheRecordsFromAnyStart) {
    import({capture("openbsd", 5000, 3, 3 * 86400)});
    serve();
    const auto all = records();
    ASSERT_EQ(all.size(), 5000u);
    // Starts within an hour, within a day, before everything and after it.
    for (const std::string start : {"1700005000.5", "1700100000", "0", "1800000000"}) {
        const auto counted = [&](const char* action, const char* direction, const char* key,
                                 const char* onlyKey = nullptr, const std::string& only = "") {
            std::map<std::string, std::int64_t> counts;
            for (const json& record : all)
                if (std::stod(record.at("epoch").get<std::string>()) >= std::stod(start) &&
                    record.at("action") == action && record.at("direction") == direction &&
                    (!onlyKey || record.at(onlyKey) == only))
                    ++counts[record.at(key)];
            return counts;
        };
        const auto told = [&](std::vector<std::string> words) {
            std::map<std::string, std::int64_t> counts;
            std::int64_t previous = INT64_MAX;
            for (const json& entry : objects(std::move(words))) {
                EXPECT_EQ(entry.size(), 4u) << entry;
                EXPECT_LE(entry.at("value").get<std::int64_t>(), previous) << entry;
                previous = entry.at("value");
                counts[entry.at("label")] = previous;
            }
            return counts;
        };
        EXPECT_EQ(told({"count", "--epoch", start, "--action", "block", "--direction", "in",
                        "--obj", "SRCIP"}),
                  counted("block", "in", "srcip"));
        EXPECT_EQ(told({"count", "--epoch", start, "--action", "pass", "--direction", "out",
                        "--obj", "DSTIP"}),
                  counted("pass", "out", "dstip"));
        const auto ports = counted("block", "in", "dstport");
        EXPECT_EQ(told({"count", "--epoch", start, "--action", "block", "--direction", "in",
                        "--obj", "DSTPORT"}),
                  ports);
        const std::string address = all[10].at("srcip");
        EXPECT_EQ(told({"ports-of", "--epoch", start, "--action", "block", "--direction", "in",
                        "--ip", address}),
                  counted("block", "in", "dstport", "srcip", address));
        if (ports.empty())
            continue;
        EXPECT_EQ(told({"addresses-of", "--epoch", start, "--action", "block", "--direction", "in",
                        "--port", ports.begin()->first}),
                  counted("block", "in", "srcip", "dstport", ports.begin()->first));
    }
}

TEST_F(Requests, PurgeRemovesWhatIsOlderAndNothingElse) {
    import({capture("nflog", 400)});
    serve();
    const auto before = records();
    const std::string end = before[150].at("epoch");
    const Finished purge = ask({"purge", "--before", end});
    ASSERT_EQ(purge.exitCode, 0) << purge.errors;
    const auto kept = std::count_if(before.begin(), before.end(), [&](const json& record) {
        return std::stod(record.at("epoch").get<std::string>()) >= std::stod(end);
    });
    EXPECT_EQ(ask({"rows"}).output, std::to_string(kept) + "\n");
    EXPECT_EQ(ask({"oldest"}).output, before[150].at("date").get<std::string>() + "\n");
}

TEST_F(Requests, AnEmptyStoreAnswersEmptily) {
    serve();
    EXPECT_EQ(ask({"rows"}).output, "0\n");
    EXPECT_EQ(ask({"oldest"}).output, "\n");
    EXPECT_EQ(ask({"newest"}).output, "\n");
    EXPECT_NE(ask({"version"}).output, "\n");
    EXPECT_TRUE(records().empty());
    const auto status = json::parse(ask({"status", "--json"}).output);
    EXPECT_EQ(status.at("rows"), 0);
    EXPECT_TRUE(status.at("oldest").is_null());
}

TEST_F(Requests, FailuresAreOneLineAndTheirExitCode) {
    for (const auto& words :
         std::vector<std::vector<std::string>>{{"rows"},
                                               {"query", "--from", "0", "--to", "1"},
                                               {"tail"},
                                               {"purge", "--before", "0"}}) {
        const Finished absent = ask(words);
        EXPECT_EQ(absent.exitCode, 1) << words[0];
        EXPECT_EQ(absent.output, "") << words[0];
        EXPECT_EQ(linesOf(absent.errors).size(), 1u) << absent.errors;
        EXPECT_NE(absent.errors.find(socket()), std::string::npos) << absent.errors;
    }
    EXPECT_EQ(ask({"rows", "--wrong"}).exitCode, 2);
    EXPECT_EQ(ask({}).exitCode, 2);
}

TEST_F(Requests, AReaderThatLeavesEndsTallyctlQuietlyAndTheDaemonGoesOn) {
    import({capture("openbsd", 50000)});
    serve();
    Process query(tallyctl({"query", "--from", "0", "--to", "9999999999", "--format", "jsonl"}));
    ASSERT_TRUE(query.line());
    query.closeOutput();
    const Finished ended = query.finish();
    EXPECT_EQ(ended.exitCode, 0);
    EXPECT_EQ(ended.errors, "");
    EXPECT_EQ(ask({"rows"}).output, "50000\n");
}

} // namespace
} // namespace brindle::test
