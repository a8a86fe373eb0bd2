// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/sources/follow/FollowedFile.h"

#include <utility>

#include <fmt/format.h>
#include <spdlog/spdlog.h>

namespace brindle::tallyd {

namespace {

using namespace std::chrono_literals;

/// The file is looked at so often, instead of being told of changes by inotify: that says nothing
/// on network file systems or of what another mount of the folder does, loses its watch with every
/// rename, and tells of a truncation no better. Two system calls at a time are not worth it.
constexpr auto kLookTime = 100ms;

} // namespace

FollowedFile::FollowedFile(std::string path, std::unique_ptr<FollowedContent> content)
    : path_(std::move(path)), content_(std::move(content)), follower_(path_, content_->framing()) {}

tl::expected<void, std::string> FollowedFile::open() {
    // Where to begin is known once there is a sink.
    const auto file = LogFile::open(path_);
    return file ? tl::expected<void, std::string>() : tl::unexpected(file.error());
}

std::string FollowedFile::read(SourceFeed& feed) {
    const auto position = FilePosition::parse(keeper_.place(feed));
    const auto beginning = follower_.open(position);
    if (!beginning)
        return beginning.error();
    if (position && *beginning == FileFollower::Beginning::atStart)
        spdlog::warn("{}: what was read last is gone; reading begins at the file's start", path_);
    toldProblem_.clear();
    for (;;) {
        const auto found = follower_.next();
        if (!found)
            return found.error();
        if (const auto handed = handOn(*found, feed); !handed)
            return handed.error();
        tellProblem(feed);
        const bool isStopping =
            found->text.empty() ? !feed.stop().pause(kLookTime) : feed.stop().isSet();
        if (isStopping) {
            keeper_.finish(feed);
            return {};
        }
    }
}

tl::expected<void, std::string> FollowedFile::handOn(const FollowedText& found, SourceFeed& feed) {
    feed.countLost("too long", found.tooLong);
    feed.countLost("cut short at a file's end", found.cutShort);
    FollowedRecords made;
    if (!found.text.empty()) {
        auto decoded = content_->decode(found, follower_);
        if (!decoded)
            return tl::unexpected(fmt::format("{}: {}", path_, decoded.error()));
        made = std::move(*decoded);
    }
    for (const auto& [reason, count] : made.undecoded)
        feed.countLost(reason, count);
    if (const auto& position = follower_.position())
        keeper_.handOn(feed, std::move(made.records), position->text());
    return {};
}

void FollowedFile::tellProblem(SourceFeed& feed) {
    if (follower_.problem() == toldProblem_)
        return;
    toldProblem_ = follower_.problem();
    feed.setState(toldProblem_.empty() ? "running" : "waiting: " + toldProblem_);
}

} // namespace brindle::tallyd
