// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/store/TallyCounts.h"

#include "core/net/IpAddress.h"
#include "core/net/NumericTextOrder.h"

#include <algorithm>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <utility>

namespace brindle::tallyd {

namespace {

/// What decides the order of two entries, without their texts wherever that is possible.
struct Rank {
    enum class Form { number, text };

    std::int64_t count = 0;
    Form form = Form::text;
    /// Of a port or an IPv4 address its number, in which order their texts are too; of another text
    /// the beginning of its order key, most significant byte first.
    std::array<std::uint64_t, 2> order{};
    std::size_t entry = 0;
};

std::array<std::uint64_t, 2> orderKeyStart(std::string_view text) {
    const std::string key = numericOrderKey(text);
    std::array<std::uint64_t, 2> start{};
    for (std::size_t i = 0; i < 16; ++i)
        start[i / 8] = start[i / 8] << 8 | (i < key.size() ? static_cast<std::uint8_t>(key[i]) : 0);
    return start;
}

constexpr std::uint64_t kIsAddress = std::uint64_t{1} << 32;

/// Largest first, ties by label in numeric order.
std::vector<CountEntry> inOrder(std::vector<CountEntry> entries, std::vector<Rank> ranks) {
    std::ranges::sort(ranks, [&entries](const Rank& a, const Rank& b) {
        if (a.count != b.count)
            return a.count > b.count;
        if (a.form == b.form && (a.form == Rank::Form::number || a.order != b.order))
            return a.order < b.order;
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
    const auto& ipv4 = ipv4_.finish();
    const auto& ipv6 = ipv6_.finish();
    std::vector<CountEntry> entries;
    std::vector<Rank> ranks;
    const std::size_t most = ipv4_.used() + ipv6_.used() + 1;
    entries.reserve(most);
    ranks.reserve(most);
    const auto add = [&](std::span<const std::uint8_t> address, std::int64_t count) {
        if (count == 0)
            return;
        ranks.push_back({.count = count, .entry = entries.size()});
        entries.push_back({.label = IpAddress::fromBytes(address).text(),
                           .value = count,
                           .isIP = true,
                           .isPort = false});
    };
    add({}, withoutAddress_);
    for (const auto& slot : ipv6) {
        std::array<std::uint8_t, 16> bytes;
        std::memcpy(bytes.data(), slot.key.halves.data(), bytes.size());
        if (slot.count == 0)
            continue;
        add(bytes, slot.count);
        ranks.back().order = orderKeyStart(entries.back().label);
    }
    for (const auto& slot : ipv4) {
        if (slot.count == 0)
            continue;
        const auto number = static_cast<std::uint32_t>(slot.key.number);
        const std::uint8_t bytes[] = {
            static_cast<std::uint8_t>(number >> 24), static_cast<std::uint8_t>(number >> 16),
            static_cast<std::uint8_t>(number >> 8), static_cast<std::uint8_t>(number)};
        add(bytes, slot.count);
        ranks.back().form = Rank::Form::number;
        ranks.back().order[0] = number;
    }
    return inOrder(std::move(entries), std::move(ranks));
}

std::vector<CountEntry> PortCounts::entries() const {
    std::vector<CountEntry> entries;
    std::vector<Rank> ranks;
    for (std::size_t port = 0; port < counts_.size(); ++port) {
        if (counts_[port] == 0)
            continue;
        ranks.push_back({.count = counts_[port],
                         .form = Rank::Form::number,
                         .order = {port, 0},
                         .entry = entries.size()});
        entries.push_back(
            {.label = std::to_string(port), .value = counts_[port], .isIP = false, .isPort = true});
    }
    return inOrder(std::move(entries), std::move(ranks));
}

} // namespace brindle::tallyd
