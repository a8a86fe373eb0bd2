// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/sources/live/PlaceKeeper.h"

#include <utility>

namespace brindle::tallyd {

namespace {
using namespace std::chrono_literals;
constexpr auto kStoreAloneTime = 5s;
} // namespace

const std::string& PlaceKeeper::place(const SourceFeed& feed) {
    // The sink tells what was stored when the daemon began; this run knows better by now.
    if (!std::exchange(isKnown_, true))
        place_ = stored_ = feed.storedPosition();
    return place_;
}

void PlaceKeeper::handOn(SourceFeed& feed, std::vector<PacketRecord> records, std::string place) {
    isKnown_ = true;
    place_ = std::move(place);
    const Clock::time_point now = Clock::now();
    if (records.empty() && (place_ == stored_ || now - storedTime_ < kStoreAloneTime))
        return;
    stored_ = place_;
    storedTime_ = now;
    feed.addWhenRoom(std::move(records), place_);
}

void PlaceKeeper::finish(SourceFeed& feed) {
    if (place_ == stored_)
        return;
    stored_ = place_;
    feed.addWhenRoom({}, place_);
}

} // namespace brindle::tallyd
