// SPDX-License-Identifier: BSD-2-Clause
//
// Reads the records of one packet filter from a text log as it is written, and has the place where
// it stands stored with them. See SourceReader for who calls it.
#pragma once

#include "tallyd/sources/follow/FileFollower.h"
#include "tallyd/sources/lines/LineDecoder.h"
#include "tallyd/sources/live/PlaceKeeper.h"
#include "tallyd/sources/live/SourceReader.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace brindle::tallyd {

class FollowedLog final : public SourceReader {
  public:
    using MakeClock = std::function<LineClock(std::int64_t writtenMicros)>;

    FollowedLog(std::string path, LineKind kind, MakeClock makeClock = presentLineClock);

    tl::expected<void, std::string> open() override;
    std::string read(SourceFeed& feed) override;

  private:
    void handOn(const FollowedText& found, SourceFeed& feed);
    void tellProblem(SourceFeed& feed);

    const std::string path_;
    const MakeClock makeClock_;
    const std::unique_ptr<LineDecoder> decoder_;
    FileFollower follower_;
    PlaceKeeper keeper_;
    std::string toldProblem_;
};

} // namespace brindle::tallyd
