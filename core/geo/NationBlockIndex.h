// SPDX-License-Identifier: BSD-2-Clause
//
// Finds the first of many IPv4 blocks, in the order in which they were added, that contains an
// address: the answer of a walk over all of them. The blocks cut the address space into segments
// with one answer each; a look-up is a step into a table by the address's first 16 bits and a short
// search. Made once, then immutable and read from any thread.
//
//     NationBlockIndexBuilder blocks;
//     blocks.add(*matchRange("2.32.0.0/11"), 0);
//     const NationBlockIndex index = std::move(blocks).build();
//     index.find(0x02200001);                                   // 0
#pragma once

#include "core/net/IpRange.h"

#include <cstdint>
#include <optional>
#include <span>
#include <utility>
#include <vector>

namespace brindle {

class NationBlockIndex {
  public:
    /// No block: nothing is found.
    NationBlockIndex() = default;

    /// The owner of the first block that contains the address; nothing when no block does.
    std::optional<std::uint32_t> find(std::uint32_t address) const;

    /// Segments with an answer of their own.
    std::size_t segmentCount() const { return starts_.size(); }

  private:
    friend class NationBlockIndexBuilder;

    std::vector<std::uint32_t> starts_; ///< first address of each segment, ascending from 0
    std::vector<std::uint32_t> owners_; ///< of each segment, or kNobody
    /// By the first 16 bits of an address: how many segments start at or before the first address
    /// with those bits. One more entry at the end.
    std::vector<std::uint32_t> begun_;
};

class NationBlockIndexBuilder {
  public:
    void reserve(std::size_t blocks) { blocks_.reserve(blocks); }

    /// `block`: as blockRange makes them, so that any two are nested or apart. `owner`: what a
    /// look-up answers, below 2^32 - 1 and never less than that of an earlier call.
    void add(Ipv4Range block, std::uint32_t owner) { blocks_.push_back({block, owner}); }

    NationBlockIndex build() &&;

  private:
    struct Block {
        Ipv4Range range;
        std::uint32_t owner;
    };
    std::vector<Block> blocks_;
};

} // namespace brindle
