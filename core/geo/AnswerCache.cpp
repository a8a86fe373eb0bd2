// SPDX-License-Identifier: BSD-2-Clause
#include "core/geo/AnswerCache.h"

#include "core/net/IpRange.h"

#include <utility>

namespace brindle {
namespace {

constexpr std::size_t kFirstSize = 1024;

} // namespace

std::optional<std::uint32_t> AnswerCache::find(std::string_view text) const {
    if (const auto address = canonicalQuad(text)) {
        if (places_.empty())
            return std::nullopt;
        const std::uint32_t answer = places_[placeOf(*address)].answer;
        return answer == kFree ? std::nullopt : std::optional(answer);
    }
    const auto found = others_.find(text);
    return found == others_.end() ? std::nullopt : std::optional(found->second);
}

void AnswerCache::store(std::string_view text, std::uint32_t answer) {
    const auto address = canonicalQuad(text);
    if (!address) {
        others_.try_emplace(std::string(text), answer);
        return;
    }
    if (2 * (taken_ + 1) > places_.size())
        grow();
    Place& place = places_[placeOf(*address)];
    if (place.answer == kFree) {
        place = {*address, answer};
        ++taken_;
    }
}

std::size_t AnswerCache::placeOf(std::uint32_t address) const {
    // Neighbouring addresses are spread over the table by a multiplication with 2^64 divided by the
    // golden ratio, whose high bits all depend on every bit of the address.
    const std::size_t last = places_.size() - 1;
    std::size_t place = (address * 0x9E3779B97F4A7C15u >> 32) & last;
    while (places_[place].answer != kFree && places_[place].address != address)
        place = (place + 1) & last;
    return place;
}

void AnswerCache::grow() {
    std::vector<Place> old(places_.empty() ? kFirstSize : 2 * places_.size());
    std::swap(old, places_);
    for (const Place& place : old)
        if (place.answer != kFree)
            places_[placeOf(place.address)] = place;
}

} // namespace brindle
