// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/sources/SourceSpec.h"

#include "tallyd/sources/Source.h"
#include "tests/tallyd/sources/TemporaryFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace brindle::tallyd {
namespace {

TEST(SourceSpec, EveryLiveKindIsRead) {
    for (const auto& [spec, group] : std::initializer_list<std::pair<const char*, int>>{
             {"nflog:0", 0}, {"nflog:5", 5}, {"nflog:65535", 65535}}) {
        const auto plan = parseSourceSpec(spec);
        ASSERT_TRUE(plan) << plan.error();
        EXPECT_EQ(std::get<NflogGroupPlan>(*plan).group, group);
    }
    const auto log = std::get<FollowedLogPlan>(*parseSourceSpec("filterlog:/no/such/a:b"));
    EXPECT_EQ(log.kind, LineKind::filterlog);
    EXPECT_EQ(log.path, "/no/such/a:b");
    const auto capture = std::get<FollowedCapturePlan>(*parseSourceSpec("pflog:/no/such/pflog"));
    EXPECT_EQ(capture.kind, CaptureKind::pflog);
    EXPECT_EQ(capture.path, "/no/such/pflog");
    const TemporaryFile empty;
    EXPECT_EQ(std::get<FollowedCapturePlan>(*parseSourceSpec("nflog:" + empty.path())).kind,
              CaptureKind::nflog);
    EXPECT_TRUE(std::holds_alternative<KernelJournalPlan>(*parseSourceSpec("netfilter:journal")));
    EXPECT_TRUE(std::holds_alternative<KernelBufferPlan>(*parseSourceSpec("netfilter:/dev/kmsg")));
    EXPECT_TRUE(std::holds_alternative<FollowedLogPlan>(*parseSourceSpec("filterlog:journal")));
    EXPECT_EQ(std::get<PflogInterfacePlan>(*parseSourceSpec("pflog:pflog0")).interface, "pflog0");
}

TEST(SourceSpec, WhatIsWrongIsToldByName) {
    const TemporaryFile pcap("\xA1\xB2\xC3\xD4");
    const TemporaryFile blocks("\x0A\x0D\x0D\x0A");
    const TemporaryFile text("Jun  8");
    const std::string pcapng = "pflog:" + blocks.path();
    const std::string capture = "netfilter:" + pcap.path();
    const std::string log = "nflog:" + text.path();
    for (const auto& [spec, reason] : std::initializer_list<std::pair<std::string, const char*>>{
             {"replay:x@fast", "the speed \"fast\" is neither a positive number nor max"},
             {"replay:x@0", "the speed \"0\" is neither a positive number nor max"},
             {"replay:x@-1", "the speed \"-1\" is neither a positive number nor max"},
             {"replay:x@,loop", "the speed \"\" is neither a positive number nor max"},
             {"replay:", "no file is named"},
             {"replay:-", "standard input cannot be replayed"},
             {"nflog:", "the group \"\" is not a number from 0 to 65535"},
             {"nflog:65536", "the group \"65536\" is not a number from 0 to 65535"},
             {"nflog:-1", "the group \"-1\" is not a number from 0 to 65535"},
             {"nflog:5,6", "the group \"5,6\" is not a number from 0 to 65535"},
             {"pflog:", "no interface is named"},
             {"pflog:pf log", "\"pf log\" cannot be the name of an interface"},
             {pcapng, "is not a pcap file in this machine's byte order"},
             {log, "is not a pcap file in this machine's byte order"},
             {capture, "is a capture, not a text log"},
             {"pflog:/", "/ is a folder"},
             {"netfilter:", "no file is named"},
             {"filterlog:/", "/ is a folder"},
             {"radio:1", "there is no source of the kind \"radio\""},
             {"replay", "a kind and a colon are expected"}}) {
        const auto plan = parseSourceSpec(spec);
        ASSERT_FALSE(plan) << spec;
        EXPECT_THAT(plan.error(), testing::StartsWith("source \"" + spec + "\": "));
        EXPECT_THAT(plan.error(), testing::HasSubstr(reason));
        EXPECT_EQ(makeSource(spec).error(), plan.error());
    }
    const auto missing = makeSource("replay:/no/such.pcap");
    ASSERT_FALSE(missing);
    EXPECT_EQ(missing.error(),
              "source \"replay:/no/such.pcap\": /no/such.pcap: No such file or directory");
}

} // namespace
} // namespace brindle::tallyd
