// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/store/TallyCounts.h"

#include "core/net/NumericTextOrder.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>

namespace brindle::tallyd {

namespace {

constexpr std::size_t kFirstSlots = 1024;

/// What decides the order of two entries, without their texts wherever that is possible.
struct Rank {
    std::int64_t count = 0;
    std::uint64_t number = 0; ///< of a port or an IPv4 address, in which order their texts are too
    bool hasNumber = false;
    std::size_t entry = 0;
};

Rank rankOf(const IpAddress& address, std::int64_t count, std::size_t entry) {
    Rank rank{.count = count, .entry = entry};
    if (address.family() == IpAddress::Family::v4) {
        rank.hasNumber = true;
        for (const std::uint8_t byte : address.bytes())
            rank.number = rank.number << 8 | byte;
    }
    return rank;
}

/// Largest first, ties by label in numeric order.
std::vector<CountEntry> inOrder(std::vector<CountEntry> entries, std::vector<Rank> ranks) {
    std::ranges::sort(ranks, [&entries](const Rank& a, const Rank& b) {
        if (a.count != b.count)
            return a.count > b.count;
        if (a.hasNumber && b.hasNumber)
            return a.number < b.number;
        const std::string& first = entries[a.entry].label;
        const std::string& second = entries[b.entry].label;
        const auto order = numericTextOrder(first, second);
        return order != 0 ? order < 0 : first < second; // "::a2" and "::a02" are equivalent
    });
    std::vector<CountEntry> ordered;
    ordered.reserve(entries.size());
    for (const Rank& rank : ranks)
        ordered.push_back(std::move(entries[rank.entry]));
    return ordered;
}

std::size_t hashOf(const IpAddress& address) {
    const auto bytes = address.bytes();
    std::uint64_t parts[2] = {bytes.size(), 0};
    std::memcpy(parts, bytes.data(), bytes.size());
    std::uint64_t mixed = (parts[0] ^ (parts[1] * 0x9e3779b97f4a7c15u)) * 0xbf58476d1ce4e5b9u;
    mixed ^= mixed >> 29;
    mixed *= 0x94d049bb133111ebu;
    return static_cast<std::size_t>(mixed ^ mixed >> 32);
}

} // namespace

AddressCounts::AddressCounts() : slots_(kFirstSlots) {}

AddressCounts::Slot& AddressCounts::slot(const IpAddress& address) {
    const std::size_t mask = slots_.size() - 1;
    for (std::size_t place = hashOf(address) & mask;; place = (place + 1) & mask) {
        Slot& slot = slots_[place];
        if (!slot.used || slot.address == address)
            return slot;
    }
}

void AddressCounts::add(const IpAddress& address, std::int64_t count) {
    Slot* found = &slot(address);
    if (!found->used) {
        if (2 * (used_ + 1) > slots_.size()) {
            grow();
            found = &slot(address);
        }
        found->used = true;
        found->address = address;
        ++used_;
    }
    found->count += count;
}

void AddressCounts::grow() {
    std::vector<Slot> old(slots_.size() * 4);
    old.swap(slots_);
    for (const Slot& moved : old)
        if (moved.used)
            slot(moved.address) = moved;
}

std::vector<CountEntry> AddressCounts::entries() const {
    std::vector<CountEntry> entries;
    std::vector<Rank> ranks;
    entries.reserve(used_);
    ranks.reserve(used_);
    for (const Slot& slot : slots_) {
        if (!slot.used || slot.count == 0)
            continue;
        ranks.push_back(rankOf(slot.address, slot.count, entries.size()));
        entries.push_back(
            {.label = slot.address.text(), .value = slot.count, .isIP = true, .isPort = false});
    }
    return inOrder(std::move(entries), std::move(ranks));
}

std::vector<CountEntry> PortCounts::entries() const {
    std::vector<CountEntry> entries;
    std::vector<Rank> ranks;
    for (std::size_t port = 0; port < counts_.size(); ++port) {
        if (counts_[port] == 0)
            continue;
        ranks.push_back({counts_[port], port, true, entries.size()});
        entries.push_back(
            {.label = std::to_string(port), .value = counts_[port], .isIP = false, .isPort = true});
    }
    return inOrder(std::move(entries), std::move(ranks));
}

} // namespace brindle::tallyd
