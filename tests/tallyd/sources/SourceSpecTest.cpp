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
    EXPECT_TRUE(std::holds_alternative<KernelJournalPlan>(*parseSourceSpec("netfilter:journal")));
    EXPECT_TRUE(std::holds_alternative<KernelBufferPlan>(*parseSourceSpec("netfilter:/dev/kmsg")));
    EXPECT_TRUE(std::holds_alternative<FollowedLogPlan>(*parseSourceSpec("filterlog:journal")));
    EXPECT_EQ(std::get<PflogInterfacePlan>(*parseSourceSpec("pflog:pflog0")).interface, "pflog0");
}

TEST(SourceSpec, WhatIsWrongIsToldByName) {
    const TemporaryFile file("\xD4\xC3\xB2\xA1");
    const std::string recording = "pflog:" + file.path();
    const std::string capture = "netfilter:" + file.path();
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
             {"pflog:/no/such/file", "cannot be the name of an interface"},
             {recording, "is a recording; \"replay:\" plays one"},
             {capture, "is a recording; \"replay:\" plays one"},
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
