// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/store/TallyCounts.h"

#include "core/net/IpAddress.h"
#include "core/net/NumericTextOrder.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include <netinet/in.h>

namespace brindle::tallyd {

namespace {

constexpr std::uint64_t kIsAddress = std::uint64_t{1} << 32;

/// A count of what is ordered by a number, in which order its texts are too: a port or an IPv4
/// address.
struct Numbered {
    std::int64_t count = 0;
    std::uint32_t number = 0;
};

/// As a number that is the smaller the larger the count is: one comparison tells the order, where
/// two would be guessed wrong by the processor half of the time.
__extension__ using Rank = unsigned __int128;

Rank rankOf(std::int64_t count, std::uint32_t number) {
    const auto inverse = ~(static_cast<std::uint64_t>(count) ^ std::uint64_t{1} << 63);
    return Rank{inverse} << 32 | number;
}

Numbered ofRank(Rank rank) {
    const auto inverse = static_cast<std::uint64_t>(rank >> 32);
    return {static_cast<std::int64_t>(~inverse ^ std::uint64_t{1} << 63),
            static_cast<std::uint32_t>(rank)};
}

/// A count of what is ordered by its text: an IPv6 address.
struct Labelled {
    std::int64_t count = 0;
    /// The beginning of the text's order key, most significant byte first: most ties end here,
    /// without a look at the text.
    std::array<std::uint64_t, 4> order{};
    std::size_t label = 0;
};

std::array<std::uint64_t, 4> orderKeyStart(std::string_view text) {
    std::array<char, numericOrderKeyBound(INET6_ADDRSTRLEN)> key{};
    writeNumericOrderKey(text, key.data());
    std::array<std::uint64_t, 4> start{};
    for (std::size_t i = 0; i < 8 * start.size(); ++i)
        start[i / 8] = start[i / 8] << 8 | static_cast<std::uint8_t>(key[i]);
    return start;
}

bool labelLess(const std::string& first, const std::string& second) {
    const auto order = numericTextOrder(first, second);
    return order != 0 ? order < 0 : first < second; // "::a2" and "::a02" are equivalent
}

CountEntry addressEntry(std::string label, std::int64_t count) {
    return {.label = std::move(label), .value = count, .isIP = true, .isPort = false};
}

std::string quad(std::uint32_t number) {
    const std::uint8_t bytes[] = {
        static_cast<std::uint8_t>(number >> 24), static_cast<std::uint8_t>(number >> 16),
        static_cast<std::uint8_t>(number >> 8), static_cast<std::uint8_t>(number)};
    return IpAddress::fromBytes(bytes).text();
}

/// Two ordered lists of entries as one, largest count first, ties by label.
std::vector<CountEntry> merged(std::vector<CountEntry> first, std::vector<CountEntry> second) {
    if (first.empty() || second.empty())
        return first.empty() ? std::move(second) : std::move(first);
    std::vector<CountEntry> all;
    all.reserve(first.size() + second.size());
    std::merge(std::move_iterator(first.begin()), std::move_iterator(first.end()),
               std::move_iterator(second.begin()), std::move_iterator(second.end()),
               std::back_inserter(all), [](const CountEntry& a, const CountEntry& b) {
                   return a.value != b.value ? a.value > b.value : labelLess(a.label, b.label);
               });
    return all;
}

/// Each bit of the number moves each bit of the result.
std::size_t mixed(std::uint64_t number) {
    number = (number ^ number >> 32) * 0xbf58476d1ce4e5b9u;
    number = (number ^ number >> 29) * 0x94d049bb133111ebu;
    return static_cast<std::size_t>(number ^ number >> 32);
}

} // namespace

std::size_t AddressCounts::Ipv4::hash() const {
    return mixed(number);
}

std::size_t AddressCounts::Ipv6::hash() const {
    return mixed(halves[0] ^ halves[1] * 0x9e3779b97f4a7c15u);
}

void AddressCounts::add(std::span<const std::uint8_t> bytes, std::int64_t count) {
    if (bytes.size() == 4) {
        ipv4_.add({kIsAddress | std::uint64_t{bytes[0]} << 24 | std::uint64_t{bytes[1]} << 16 |
                   std::uint64_t{bytes[2]} << 8 | bytes[3]},
                  count);
    } else if (bytes.size() == 16) {
        Ipv6 key{.isAddress = true};
        std::memcpy(key.halves.data(), bytes.data(), bytes.size());
        ipv6_.add(key, count);
    } else {
        withoutAddress_ += count;
    }
}

std::vector<CountEntry> AddressCounts::entries() {
    std::vector<CountEntry> all = merged(ipv4Entries(), ipv6Entries());
    if (withoutAddress_ == 0)
        return all;
    std::vector<CountEntry> without;
    without.push_back(addressEntry({}, withoutAddress_));
    return merged(std::move(all), std::move(without));
}

std::vector<CountEntry> AddressCounts::ipv4Entries() {
    const auto& slots = ipv4_.finish();
    std::vector<Rank> ranks;
    ranks.reserve(ipv4_.used());
    for (const auto& slot : slots)
        if (slot.count != 0)
            ranks.push_back(rankOf(slot.count, static_cast<std::uint32_t>(slot.key.number)));
    std::ranges::sort(ranks);
    std::vector<CountEntry> entries;
    entries.reserve(ranks.size());
    for (const Rank rank : ranks) {
        const auto [count, number] = ofRank(rank);
        entries.push_back(addressEntry(quad(number), count));
    }
    return entries;
}

std::vector<CountEntry> AddressCounts::ipv6Entries() {
    const auto& slots = ipv6_.finish();
    std::vector<Labelled> ranks;
    std::vector<std::string> labels;
    ranks.reserve(ipv6_.used());
    labels.reserve(ipv6_.used());
    for (const auto& slot : slots) {
        if (slot.count == 0)
            continue;
        std::array<std::uint8_t, 16> bytes;
        std::memcpy(bytes.data(), slot.key.halves.data(), bytes.size());
        labels.push_back(IpAddress::fromBytes(bytes).text());
        ranks.push_back({slot.count, orderKeyStart(labels.back()), labels.size() - 1});
    }
    std::ranges::sort(ranks, [&labels](const Labelled& a, const Labelled& b) {
        if (a.count != b.count)
            return a.count > b.count;
        return a.order != b.order ? a.order < b.order : labelLess(labels[a.label], labels[b.label]);
    });
    std::vector<CountEntry> entries;
    entries.reserve(ranks.size());
    for (const Labelled& rank : ranks)
        entries.push_back(addressEntry(std::move(labels[rank.label]), rank.count));
    return entries;
}

std::vector<CountEntry> PortCounts::entries() const {
    std::vector<Rank> ranks;
    for (std::size_t port = 0; port < counts_.size(); ++port)
        if (counts_[port] != 0)
            ranks.push_back(rankOf(counts_[port], static_cast<std::uint32_t>(port)));
    std::ranges::sort(ranks);
    std::vector<CountEntry> entries;
    entries.reserve(ranks.size());
    for (const Rank rank : ranks) {
        const auto [count, number] = ofRank(rank);
        entries.push_back(
            {.label = std::to_string(number), .value = count, .isIP = false, .isPort = true});
    }
    return entries;
}

} // namespace brindle::tallyd
