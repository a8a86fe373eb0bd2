// SPDX-License-Identifier: BSD-2-Clause
//
// What a source is asked to be, read from the text that a user configured. Values; made and taken
// apart on the main thread before any source exists.
#pragma once

#include "tallyd/sources/ReplaySource.h"
#include "tallyd/sources/follow/FollowedContent.h"
#include "tallyd/sources/lines/LineDecoder.h"

#include <cstdint>
#include <string>
#include <variant>

#include <tl/expected.hpp>

namespace brindle::tallyd {

struct NflogGroupPlan {
    std::uint16_t group = 0;
};
struct PflogInterfacePlan {
    std::string interface;
};

struct FollowedLogPlan {
    LineKind kind = LineKind::netfilter;
    std::string path;
};
struct FollowedCapturePlan {
    CaptureKind kind = CaptureKind::pflog;
    std::string path;
};
struct KernelBufferPlan {};
struct KernelJournalPlan {};

using SourcePlan = std::variant<ReplayPlan, NflogGroupPlan, PflogInterfacePlan, FollowedLogPlan,
                                FollowedCapturePlan, KernelBufferPlan, KernelJournalPlan>;

/// `spec`: "nflog:GROUP-or-FILE", "pflog:IFACE-or-FILE", "netfilter:journal",
/// "netfilter:/dev/kmsg", "netfilter:FILE", "filterlog:FILE" or "replay:FILE[@SPEED[,loop]]". A
/// device or file that is not there is no mistake: it may come. A file of the wrong kind is one. A
/// name without a slash is an interface's, as long as there is no such file. Error: one line that
/// names the text and what is wrong with it.
tl::expected<SourcePlan, std::string> parseSourceSpec(const std::string& spec);

} // namespace brindle::tallyd
