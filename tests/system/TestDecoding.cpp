// SPDX-License-Identifier: BSD-2-Clause
//
// What tallyctl prints is what tcpdump reads from the same capture, through all that lies between.
#include "tests/system/Workshop.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace brindle::test {
namespace {

class Decoding : public Workshop, public ::testing::WithParamInterface<const char*> {};

std::string endpoint(const nlohmann::json& record, const char* address, const char* port) {
    const std::string portText = record.at(port);
    return record.at(address).get<std::string>() + (portText == "0" ? "" : "." + portText);
}

TEST_P(Decoding, TallyctlTellsOfEachPacketWhatTcpdumpTells) {
    if (std::system("tcpdump --version >/dev/null 2>&1") != 0)
        GTEST_SKIP() << "tcpdump is not installed";
    const std::string kind = GetParam();
    const std::string file = capture(kind, 3000);
    const Finished imported = import({file});
    ASSERT_EQ(imported.exitCode, 0) << imported.errors;
    EXPECT_EQ(linesOf(imported.output).at(0), "imported 3000 records, skipped 0");
    serve();
    auto stored = records();
    std::reverse(stored.begin(), stored.end());
    const auto lines = linesOf(run({"tcpdump", "-n", "-e", "-tt", "-r", file}).output);
    ASSERT_EQ(lines.size(), 3000u);
    ASSERT_EQ(stored.size(), lines.size());
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const nlohmann::json& record = stored[i];
        const std::string& line = lines[i];
        SCOPED_TRACE(line + "\n" + record.dump());
        char time[64];
        std::snprintf(time, sizeof time, "%.6f ",
                      std::strtod(record.at("epoch").get<std::string>().c_str(), nullptr));
        EXPECT_EQ(line.substr(0, line.find(' ') + 1), time);
        EXPECT_NE(line.find(": " + endpoint(record, "srcip", "srcport") + " > " +
                            endpoint(record, "dstip", "dstport") + ": "),
                  line.npos);
        if (kind == "nflog")
            continue;
        const auto text = [&record](const char* key) { return record.at(key).get<std::string>(); };
        EXPECT_NE(line.find(" rule " + text("rule") + "/"), line.npos);
        // tcpdump looks for the oldest header's direction where later headers have it.
        const std::string direction = kind == "openbsd34" ? "" : text("direction") + " on ";
        EXPECT_NE(line.find("): " + text("action") + " " + direction), line.npos);
        EXPECT_NE(line.find(" on " + text("interface") + ": "), line.npos);
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, Decoding,
                         ::testing::Values("openbsd", "freebsd", "freebsd13", "darwin", "netbsd",
                                           "openbsd34", "nflog"),
                         [](const auto& kind) { return std::string(kind.param); });

class OldestForm : public Workshop {};

// tcpdump does not read this link type; the same traffic in the next older form stands in for it.
TEST_F(OldestForm, LinkType17CarriesTheRecordsOfTheNextForm) {
    const auto recordsOf = [this](const std::string& kind) {
        EXPECT_EQ(import({capture(kind, 1000)}).exitCode, 0);
        serve();
        auto all = records();
        daemon_.reset();
        for (const char* end : {"", "-wal", "-shm"})
            std::filesystem::remove(store() + end);
        for (auto& record : all) {
            const std::string rule = record.at("rule");
            record["rule"] = rule.substr(0, rule.find('.')); // the oldest form names no anchor
            record.erase("uid");
        }
        return all;
    };
    const auto oldest = recordsOf("old17");
    EXPECT_EQ(oldest.size(), 1000u);
    EXPECT_EQ(oldest, recordsOf("openbsd34"));
}

} // namespace
} // namespace brindle::test
