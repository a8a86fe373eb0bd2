// SPDX-License-Identifier: BSD-2-Clause
#include "core/exclusions/RangeIndex.h"

#include "core/net/IpRange.h"
#include "core/net/NumericTextOrder.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace brindle {

void QuadIntervals::add(std::uint32_t low, std::uint32_t high) {
    // The bounds themselves are not covered; without anything between them there is no interval.
    if (high > low && high - low > 1) {
        firsts_.push_back(low + 1);
        lasts_.push_back(high - 1);
    }
}

void QuadIntervals::finish() {
    std::vector<std::pair<std::uint32_t, std::uint32_t>> intervals;
    for (std::size_t i = 0; i < firsts_.size(); ++i)
        intervals.emplace_back(firsts_[i], lasts_[i]);
    std::ranges::sort(intervals);
    firsts_.clear();
    lasts_.clear();
    for (const auto& [first, last] : intervals) {
        if (!lasts_.empty() && first <= lasts_.back()) {
            lasts_.back() = std::max(lasts_.back(), last);
        } else {
            firsts_.push_back(first);
            lasts_.push_back(last);
        }
    }
}

bool QuadIntervals::covers(std::uint32_t address) const {
    const auto after = std::ranges::upper_bound(firsts_, address) - firsts_.begin();
    return after > 0 && address <= lasts_[static_cast<std::size_t>(after) - 1];
}

namespace {

/// Up to eight bytes as a number that orders as the bytes do, as far as they go.
std::uint64_t startNumber(std::string_view bytes) {
    std::uint64_t number = 0;
    for (std::size_t i = 0; i < 8; ++i)
        number = number << 8 | (i < bytes.size() ? static_cast<unsigned char>(bytes[i]) : 0);
    return number;
}

/// The order key of a text, without an allocation for texts as long as addresses are.
class OrderKey {
  public:
    explicit OrderKey(std::string_view text) {
        char* out = short_;
        if (numericOrderKeyBound(text.size()) > sizeof short_) {
            long_.resize(numericOrderKeyBound(text.size()));
            out = long_.data();
        }
        view_ = std::string_view(out, writeNumericOrderKey(text, out));
    }
    OrderKey(const OrderKey&) = delete;
    OrderKey& operator=(const OrderKey&) = delete;
    std::string_view view() const { return view_; }

  private:
    char short_[128];
    std::string long_;
    std::string_view view_;
};

} // namespace

void TextIntervals::add(std::string_view low, std::string_view high) {
    Pending interval{numericOrderKey(low), numericOrderKey(high)};
    if (interval.low < interval.high)
        pending_.push_back(std::move(interval));
}

void TextIntervals::finish() {
    std::ranges::sort(pending_, {}, &Pending::low);
    std::vector<Pending> merged;
    for (Pending& interval : pending_) {
        // Where one ends exactly where the next begins, that text itself is covered by neither.
        if (!merged.empty() && interval.low < merged.back().high)
            merged.back().high = std::max(merged.back().high, std::move(interval.high));
        else
            merged.push_back(std::move(interval));
    }
    pending_ = {};
    if (merged.empty())
        return;

    const std::string& first = merged.front().low;
    const std::string& last = merged.back().low;
    shared_ = static_cast<std::size_t>(std::ranges::mismatch(first, last).in1 - first.begin());
    for (const Pending& interval : merged) {
        Place place;
        place.begin = static_cast<std::uint32_t>(keys_.size());
        keys_ += interval.low;
        place.middle = static_cast<std::uint32_t>(keys_.size());
        keys_ += interval.high;
        place.end = static_cast<std::uint32_t>(keys_.size());
        places_.push_back(place);
        lowStarts_.push_back(startNumber(std::string_view(interval.low).substr(shared_)));
    }
}

std::string_view TextIntervals::low(std::size_t index) const {
    const Place& place = places_[index];
    return std::string_view(keys_).substr(place.begin, place.middle - place.begin);
}

std::string_view TextIntervals::high(std::size_t index) const {
    const Place& place = places_[index];
    return std::string_view(keys_).substr(place.middle, place.end - place.middle);
}

bool TextIntervals::covers(std::string_view text) const {
    if (places_.empty())
        return false;
    const OrderKey holder(text);
    const std::string_view key = holder.view();
    // The intervals that begin before the text; only the last of them can reach beyond it.
    std::size_t begun = 0;
    const std::string_view shared = std::string_view(keys_).substr(0, shared_);
    const int order = key.substr(0, shared_).compare(shared);
    if (order > 0) {
        begun = places_.size();
    } else if (order == 0) {
        const std::uint64_t start = startNumber(key.substr(shared_));
        const auto [from, to] = std::ranges::equal_range(lowStarts_, start);
        begun = static_cast<std::size_t>(from - lowStarts_.begin());
        auto end = static_cast<std::size_t>(to - lowStarts_.begin());
        while (begun < end) {
            const std::size_t middle = begun + (end - begun) / 2;
            if (low(middle) < key)
                begun = middle + 1;
            else
                end = middle;
        }
    }
    return begun > 0 && key < high(begun - 1);
}

RangeIndex::RangeIndex(std::span<const ExcludedRange> ranges) : empty_(ranges.empty()) {
    for (const ExcludedRange& range : ranges) {
        const auto low = canonicalQuad(range.low);
        const auto high = canonicalQuad(range.high);
        if (low && high)
            quads_.add(*low, *high);
        else
            others_.add(range.low, range.high);
        all_.add(range.low, range.high);
    }
    quads_.finish();
    others_.finish();
    all_.finish();
}

bool RangeIndex::covers(std::string_view text) const {
    if (empty_)
        return false;
    if (const auto quad = canonicalQuad(text))
        return quads_.covers(*quad) || others_.covers(text);
    return all_.covers(text);
}

} // namespace brindle
