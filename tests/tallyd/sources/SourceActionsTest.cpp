// SPDX-License-Identifier: BSD-2-Clause
//
// What a prefix means reaches the records of every kind of source that has prefixes.
#include "bench/captures/CaptureFile.h"
#include "tallyd/sources/Source.h"
#include "tests/tallyd/sources/RecordingSink.h"
#include "tests/tallyd/sources/TemporaryFile.h"

#include <algorithm>

#include <gtest/gtest.h>

namespace brindle::tallyd {
namespace {

/// The actions that a source gives its first `count` records, by the rules that tell them.
std::map<std::string, Action> actionsOf(const std::string& spec, std::size_t count,
                                        const ActionPatterns& patterns) {
    RecordingSink sink;
    auto source = makeSource(spec, patterns);
    EXPECT_TRUE(source) << source.error();
    (*source)->start(sink);
    std::map<std::string, Action> actions;
    for (const PacketRecord& record : sink.waitForRecords(count).records)
        actions[record.rule.substr(0, record.rule.find(']') + 1)] = record.action;
    return actions;
}

TEST(SourceActions, ConfiguredPatternsDecideInEverySourceThatHasPrefixes) {
    const ActionPatterns turned({{"lan allow", Action::block}, {"lan block", Action::pass}});
    const std::map<std::string, Action> builtIn{{"[LAN ALLOW]", Action::pass},
                                                {"[LAN BLOCK]", Action::block}};
    const std::map<std::string, Action> configured{{"[LAN ALLOW]", Action::block},
                                                   {"[LAN BLOCK]", Action::pass}};
    std::string lines;
    for (const char* prefix : {"[LAN ALLOW] ", "[LAN BLOCK] "})
        lines += "2023-11-14T22:13:20+00:00 fw kernel: " + std::string(prefix) +
                 "IN=eth0 OUT= SRC=203.0.113.7 DST=10.0.0.5 PROTO=UDP SPT=1 DPT=2\n";
    const TemporaryFile log(lines);
    const TemporaryFile capture;
    ASSERT_TRUE(
        bench::writeCapture({.kind = bench::CaptureKind::nflog, .count = 200}, capture.path()));
    const struct {
        std::string spec;
        std::size_t records;
    } cases[] = {{"netfilter:" + log.path(), 2},
                 {"replay:" + log.path() + "@max", 2},
                 {"nflog:" + capture.path(), 200},
                 {"replay:" + capture.path() + "@max", 200}};
    for (const auto& [spec, records] : cases) {
        EXPECT_EQ(actionsOf(spec, records, ActionPatterns()), builtIn) << spec;
        EXPECT_EQ(actionsOf(spec, records, turned), configured) << spec;
    }
}

} // namespace
} // namespace brindle::tallyd
