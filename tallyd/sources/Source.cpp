// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/sources/Source.h"

#include "tallyd/sources/SourceSpec.h"
#include "tallyd/sources/capture/CaptureDevices.h"
#include "tallyd/sources/follow/FollowedFile.h"
#include "tallyd/sources/kernel/KernelBuffer.h"
#include "tallyd/sources/kernel/KernelJournal.h"
#include "tallyd/sources/live/LiveSource.h"

#include <chrono>
#include <utility>

#include <fmt/format.h>

namespace brindle::tallyd {

namespace {

using Made = tl::expected<std::unique_ptr<Source>, std::string>;

/// Makes the source of each kind of plan.
class Maker {
  public:
    Maker(const std::string& spec, const ActionPatterns& patterns)
        : spec_(spec), patterns_(patterns) {}

    Made operator()(const ReplayPlan& plan) const {
        auto source = ReplaySource::open(spec_, plan, patterns_);
        if (!source)
            return tl::unexpected(fmt::format("source \"{}\": {}", spec_, source.error()));
        return std::move(*source);
    }
    Made operator()(const NflogGroupPlan& plan) const {
        return live(std::make_unique<LiveCapture>([group = plan.group, patterns = patterns_] {
            return openNflogGroup(group, patterns);
        }));
    }
    Made operator()(const PflogInterfacePlan& plan) const {
        return live(std::make_unique<LiveCapture>(
            [interface = plan.interface] { return openPflogInterface(interface); }));
    }

    Made operator()(const FollowedLogPlan& plan) const {
        return followed(plan.path, logContent(plan.kind, patterns_));
    }
    Made operator()(const FollowedCapturePlan& plan) const {
        return followed(plan.path, captureContent(plan.kind, patterns_));
    }
    Made operator()(const KernelBufferPlan&) const {
        return live(KernelBuffer::ofThisMachine(patterns_));
    }
    Made operator()(const KernelJournalPlan&) const {
        return live(KernelJournal::ofThisMachine(patterns_));
    }

  private:
    Made live(std::unique_ptr<SourceReader> reader,
              std::chrono::milliseconds retryTime = LiveSource::kRetryTime) const {
        return std::make_unique<LiveSource>(spec_, std::move(reader), retryTime);
    }

    Made followed(const std::string& path, std::unique_ptr<FollowedContent> content) const {
        // Looking for a file costs nothing.
        constexpr std::chrono::milliseconds kLookAgain{500};
        return live(std::make_unique<FollowedFile>(path, std::move(content)), kLookAgain);
    }

    const std::string& spec_;
    const ActionPatterns& patterns_;
};

} // namespace

tl::expected<std::unique_ptr<Source>, std::string> makeSource(const std::string& spec,
                                                              ActionPatterns patterns) {
    const auto plan = parseSourceSpec(spec);
    if (!plan)
        return tl::unexpected(plan.error());
    return std::visit(Maker(spec, patterns), *plan);
}

} // namespace brindle::tallyd
