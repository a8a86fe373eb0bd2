// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/sources/follow/FollowedLog.h"

#include <map>
#include <string_view>
#include <utility>
#include <vector>

#include <spdlog/spdlog.h>

namespace brindle::tallyd {

namespace {

using namespace std::chrono_literals;

/// The file is looked at so often, instead of being told of changes by inotify: that says nothing
/// on network file systems or of what another mount of the folder does, loses its watch with every
/// rename, and tells of a truncation no better. Two system calls at a time are not worth it.
constexpr auto kLookTime = 100ms;

} // namespace

FollowedLog::FollowedLog(std::string path, LineKind kind, MakeClock makeClock)
    : path_(std::move(path)), makeClock_(std::move(makeClock)), decoder_(makeLineDecoder(kind)),
      follower_(path_) {}

tl::expected<void, std::string> FollowedLog::open() {
    // Where to begin is known once there is a sink.
    const auto file = LogFile::open(path_);
    return file ? tl::expected<void, std::string>() : tl::unexpected(file.error());
}

std::string FollowedLog::read(SourceFeed& feed) {
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
        handOn(*found, feed);
        tellProblem(feed);
        const bool isStopping =
            found->text.empty() ? !feed.stop().pause(kLookTime) : feed.stop().isSet();
        if (isStopping) {
            keeper_.finish(feed);
            return {};
        }
    }
}

void FollowedLog::handOn(const FollowedText& found, SourceFeed& feed) {
    feed.countLost("line is too long", found.tooLong);
    feed.countLost("last line is cut short", found.cutShort);
    const LineClock clock = makeClock_(found.changedMicros);
    std::vector<PacketRecord> records;
    std::map<std::string_view, std::uint64_t> undecoded;
    for (std::string_view rest = found.text; !rest.empty();) {
        const std::size_t end = rest.find('\n');
        auto record = decoder_->decode(rest.substr(0, end), clock);
        rest.remove_prefix(end + 1);
        if (!record)
            continue;
        if (*record)
            records.push_back(std::move(**record));
        else
            ++undecoded[record->error()];
    }
    for (const auto& [reason, count] : undecoded)
        feed.countLost(reason, count);
    if (const auto& position = follower_.position())
        keeper_.handOn(feed, std::move(records), position->text());
}

void FollowedLog::tellProblem(SourceFeed& feed) {
    if (follower_.problem() == toldProblem_)
        return;
    toldProblem_ = follower_.problem();
    feed.setState(toldProblem_.empty() ? "running" : "waiting: " + toldProblem_);
}

} // namespace brindle::tallyd
