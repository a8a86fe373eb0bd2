// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/store/DayRollUp.h"

#include <algorithm>

namespace brindle::tallyd {

namespace {

bool later(const RunReader& a, const RunReader& b) {
    return a.key() > b.key();
}

} // namespace

TallyKey DayRollUp::keyInOrder(const TallyKey& key) const {
    TallyKeyParts parts(key.bytes());
    const IpAddress local = parts.address();
    const IpAddress remote = parts.address();
    const std::uint16_t port = parts.port();
    switch (order_) {
    case TallyOrder::remote:
        return TallyKey().add(remote);
    case TallyOrder::local:
        return TallyKey().add(local);
    case TallyOrder::port:
        return TallyKey().add(port);
    case TallyOrder::remotePort:
        return TallyKey().add(remote).add(port);
    case TallyOrder::portRemote:
        break;
    }
    return TallyKey().add(port).add(remote);
}

std::size_t DayRollUp::add(std::span<const std::uint8_t> run) {
    std::vector<std::pair<TallyKey, std::int64_t>> counts;
    std::size_t entries = 0;
    for (RunReader reader(run); reader.next(); ++entries) {
        const TallyKey key = keyInOrder(reader.key());
        if (!counts.empty() && counts.back().first == key)
            counts.back().second += reader.count();
        else
            counts.emplace_back(key, reader.count());
    }
    std::ranges::sort(counts, {}, [](const auto& entry) -> const TallyKey& { return entry.first; });
    RunWriter sorted;
    for (const auto& [key, count] : counts)
        sorted.add(key, count);
    parts_.push_back(sorted.take().data);
    return entries;
}

std::size_t DayRollUp::merge(std::size_t most, const Sink& sink) {
    if (!begun_) {
        begun_ = true;
        for (const auto& part : parts_)
            if (RunReader reader(part); reader.next())
                heap_.push_back(reader);
        std::ranges::make_heap(heap_, later);
    }
    std::size_t taken = 0;
    for (; taken < most && !heap_.empty(); ++taken) {
        std::ranges::pop_heap(heap_, later);
        RunReader& next = heap_.back();
        // A key may end one chunk and begin the next, as a count in two parts; never both, so that
        // no two chunks begin alike.
        if (chunk_.entries() >= chunkEntries_)
            finishChunk(sink);
        if (!std::exchange(chunkBegun_, true))
            first_ = next.key();
        chunk_.add(next.key(), next.count());
        if (next.next())
            std::ranges::push_heap(heap_, later);
        else
            heap_.pop_back();
    }
    if (heap_.empty())
        finishChunk(sink);
    return taken;
}

void DayRollUp::finishChunk(const Sink& sink) {
    chunkBegun_ = false;
    if (const TallyRun chunk = chunk_.take(); chunk.entries > 0)
        sink(first_, chunk);
}

} // namespace brindle::tallyd
