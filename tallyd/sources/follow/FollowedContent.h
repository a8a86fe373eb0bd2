// SPDX-License-Identifier: BSD-2-Clause
//
// What a followed file holds: lines of a log, or packets of a capture. Owned by the FollowedFile
// that reads it, on its thread.
#pragma once

#include "core/log/records/PacketRecord.h"
#include "tallyd/sources/follow/FileFollower.h"
#include "tallyd/sources/lines/LineDecoder.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <tl/expected.hpp>

namespace brindle::tallyd {

/// What a piece of a file became.
struct FollowedRecords {
    std::vector<PacketRecord> records;
    std::map<std::string_view, std::uint64_t> undecoded; ///< by reason
};

class FollowedContent {
  public:
    virtual ~FollowedContent() = default;

    virtual std::unique_ptr<Framing> framing() const = 0;
    /// `found`: what the follower gave just now. Error: why the file is none of this kind.
    virtual tl::expected<FollowedRecords, std::string> decode(const FollowedText& found,
                                                              const FileFollower& follower) = 0;
};

using MakeLineClock = std::function<LineClock(std::int64_t writtenMicros)>;

/// `patterns`: what a prefix means, here and below.
std::unique_ptr<FollowedContent> logContent(LineKind kind,
                                            ActionPatterns patterns = ActionPatterns(),
                                            MakeLineClock makeClock = presentLineClock);

enum class CaptureKind { pflog, nflog };

/// pcap files in this machine's byte order, as pflogd and others write them here.
std::unique_ptr<FollowedContent> captureContent(CaptureKind kind,
                                                ActionPatterns patterns = ActionPatterns());

} // namespace brindle::tallyd
