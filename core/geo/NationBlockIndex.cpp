// SPDX-License-Identifier: BSD-2-Clause
#include "core/geo/NationBlockIndex.h"

#include <algorithm>
#include <limits>

namespace brindle {
namespace {

constexpr std::uint32_t kNobody = std::numeric_limits<std::uint32_t>::max();
constexpr std::uint32_t kLastAddress = std::numeric_limits<std::uint32_t>::max();

/// Writes segments from the left to the right; neighbours with the same owner are one.
class Segments {
  public:
    Segments(std::vector<std::uint32_t>& starts, std::vector<std::uint32_t>& owners)
        : starts_(starts), owners_(owners) {}

    void begin(std::uint32_t start, std::uint32_t owner) {
        if (!starts_.empty() && starts_.back() == start) {
            starts_.pop_back();
            owners_.pop_back();
        }
        if (owners_.empty() || owners_.back() != owner) {
            starts_.push_back(start);
            owners_.push_back(owner);
        }
    }

  private:
    std::vector<std::uint32_t>& starts_;
    std::vector<std::uint32_t>& owners_;
};

/// A block that the sweep is inside of, and the answer within it where no inner block has another.
struct Open {
    std::uint32_t last;
    std::uint32_t owner;
};

} // namespace

NationBlockIndex NationBlockIndexBuilder::build() && {
    NationBlockIndex index;
    if (blocks_.empty())
        return index;

    // Outer blocks before the inner ones that start at the same address. Of two equal blocks the
    // order does not matter: the lesser owner wins in either.
    const auto outerFirst = [](const Block& a, const Block& b) {
        return a.range.first != b.range.first ? a.range.first < b.range.first
                                              : a.range.last > b.range.last;
    };
    if (!std::ranges::is_sorted(blocks_, outerFirst))
        std::ranges::sort(blocks_, outerFirst);

    Segments segments(index.starts_, index.owners_);
    segments.begin(0, kNobody);
    std::vector<Open> open;
    const auto closeBefore = [&](std::uint32_t address) {
        while (!open.empty() && open.back().last < address) {
            const std::uint32_t after = open.back().last + 1;
            open.pop_back();
            segments.begin(after, open.empty() ? kNobody : open.back().owner);
        }
    };
    for (const Block& block : blocks_) {
        closeBefore(block.range.first);
        const std::uint32_t outer = open.empty() ? kNobody : open.back().owner;
        open.push_back({block.range.last, std::min(outer, block.owner)});
        segments.begin(block.range.first, open.back().owner);
    }
    // Blocks that reach the end of the address space leave nothing behind them.
    closeBefore(kLastAddress);

    index.begun_.resize((1u << 16) + 1);
    std::size_t segment = 0;
    for (std::uint32_t high = 0; high < 1u << 16; ++high) {
        while (segment < index.starts_.size() && index.starts_[segment] <= high << 16)
            ++segment;
        index.begun_[high] = static_cast<std::uint32_t>(segment);
    }
    index.begun_.back() = static_cast<std::uint32_t>(index.starts_.size());
    return index;
}

std::optional<std::uint32_t> NationBlockIndex::find(std::uint32_t address) const {
    if (starts_.empty())
        return std::nullopt;
    const std::uint32_t high = address >> 16;
    const auto from = starts_.begin() + begun_[high];
    const auto to = starts_.begin() + begun_[high + 1];
    const auto segment = std::upper_bound(from, to, address) - starts_.begin() - 1;
    const std::uint32_t owner = owners_[static_cast<std::size_t>(segment)];
    return owner == kNobody ? std::nullopt : std::optional(owner);
}

} // namespace brindle
