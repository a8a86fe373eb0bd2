// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/program/CountingSink.h"

#include <utility>

namespace brindle::tallyd {

SourceId CountingSink::addSource(const std::string& name) {
    const std::lock_guard lock(mutex_);
    const auto known = ids_.find(name);
    if (known == ids_.end()) {
        const SourceId id = sink_.addSource(name);
        ids_.emplace(name, id);
        return id;
    }
    // What the store remembered when the daemon started is older than what was read since.
    Place& place = places_[known->second];
    place.atStart = place.handedOver;
    return known->second;
}

void CountingSink::setState(SourceId source, const std::string& state) {
    sink_.setState(source, state);
}

std::string CountingSink::storedPosition(SourceId source) {
    {
        const std::lock_guard lock(mutex_);
        if (const std::string& place = places_[source].atStart; !place.empty())
            return place;
    }
    return sink_.storedPosition(source);
}

void CountingSink::add(SourceId source, std::vector<PacketRecord> records, WhenFull whenFull,
                       std::string position) {
    if (!position.empty()) {
        const std::lock_guard lock(mutex_);
        places_[source].handedOver = position;
    }
    // Before the intake has them: what is under way is never told as negative.
    handedOver_.fetch_add(records.size(), std::memory_order_relaxed);
    sink_.add(source, std::move(records), whenFull, std::move(position));
}

void CountingSink::countLost(SourceId source, std::string_view reason, std::uint64_t count) {
    handedOver_.fetch_add(count, std::memory_order_relaxed);
    sink_.countLost(source, reason, count);
}

void CountingSink::setRemoved(const std::string& name) {
    const std::lock_guard lock(mutex_);
    if (const auto known = ids_.find(name); known != ids_.end())
        sink_.setState(known->second, "removed");
}

} // namespace brindle::tallyd
