// SPDX-License-Identifier: BSD-2-Clause
//
// Reads the records of one packet filter from a log or a capture as it is written, and has the
// place where it stands stored with them. See SourceReader for who calls it.
#pragma once

#include "tallyd/sources/follow/FileFollower.h"
#include "tallyd/sources/follow/FollowedContent.h"
#include "tallyd/sources/live/PlaceKeeper.h"
#include "tallyd/sources/live/SourceReader.h"

#include <memory>
#include <string>

namespace brindle::tallyd {

class FollowedFile final : public SourceReader {
  public:
    FollowedFile(std::string path, std::unique_ptr<FollowedContent> content);

    tl::expected<void, std::string> open() override;
    std::string read(SourceFeed& feed) override;

  private:
    tl::expected<void, std::string> handOn(const FollowedText& found, SourceFeed& feed);
    void tellProblem(SourceFeed& feed);

    const std::string path_;
    const std::unique_ptr<FollowedContent> content_;
    FileFollower follower_;
    PlaceKeeper keeper_;
    std::string toldProblem_;
};

} // namespace brindle::tallyd
