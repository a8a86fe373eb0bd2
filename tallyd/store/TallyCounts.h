// SPDX-License-Identifier: BSD-2-Clause
//
// Adds counts up by address or by port, and puts them in the order of a reply. One request's; one
// thread.
#pragma once

#include "protocol/TallydHelperProtocol.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace brindle::tallyd {

/// Counts by key in one flat table: a request adds a million counts to some ten thousand keys, and
/// what that costs is the memory it walks over. So a slot is asked for some additions before it is
/// needed. A key made by default stands for none.
template <typename Key>
class FlatCounts {
  public:
    struct Slot {
        Key key;
        std::int64_t count = 0;
    };

    void add(const Key& key, std::int64_t count) {
        Waiting& waiting = waiting_[next_++ % kWaiting];
        addNow(waiting);
        waiting = {key, key.hash(), count};
        __builtin_prefetch(&slots_[waiting.hash & (slots_.size() - 1)], 1);
    }
    /// All that was added; unused slots too.
    const std::vector<Slot>& finish() {
        for (Waiting& waiting : waiting_) {
            addNow(waiting);
            waiting = {};
        }
        return slots_;
    }
    std::size_t used() const { return used_; }

  private:
    static constexpr std::size_t kFirstSlots = 1024;
    static constexpr std::size_t kWaiting = 16;

    struct Waiting {
        Key key;
        std::size_t hash = 0;
        std::int64_t count = 0;
    };

    void addNow(const Waiting& waiting) {
        if (waiting.key == Key())
            return;
        Slot* found = &find(waiting.key, waiting.hash);
        if (found->key == Key()) {
            if (2 * (used_ + 1) > slots_.size()) {
                grow();
                found = &find(waiting.key, waiting.hash);
            }
            found->key = waiting.key;
            ++used_;
        }
        found->count += waiting.count;
    }

    Slot& find(const Key& key, std::size_t hash) {
        const std::size_t mask = slots_.size() - 1;
        std::size_t place = hash & mask;
        while (slots_[place].key != key && slots_[place].key != Key())
            place = (place + 1) & mask;
        return slots_[place];
    }

    void grow() {
        std::vector<Slot> old(slots_.size() * 2);
        old.swap(slots_);
        for (const Slot& moved : old)
            if (moved.key != Key())
                find(moved.key, moved.key.hash()) = moved;
    }

    std::vector<Slot> slots_ =
        std::vector<Slot>(kFirstSlots); ///< a power of two, half used at most
    std::size_t used_ = 0;
    std::array<Waiting, kWaiting> waiting_{};
    std::size_t next_ = 0;
};

class AddressCounts {
  public:
    /// `address`: 4 or 16 bytes; any other number of them is no address.
    void add(std::span<const std::uint8_t> address, std::int64_t count);
    /// Without those that add up to 0.
    std::vector<CountEntry> entries();

  private:
    struct Ipv4 {
        std::uint64_t number = 0; ///< the address, and one bit more that is always set
        std::size_t hash() const;
        friend bool operator==(const Ipv4&, const Ipv4&) = default;
    };
    struct Ipv6 {
        std::array<std::uint64_t, 2> halves{}; ///< its bytes as they lie in memory
        bool isAddress = false;
        std::size_t hash() const;
        // Not the default, which calls a function to compare the halves.
        friend bool operator==(const Ipv6& a, const Ipv6& b) {
            return a.halves[0] == b.halves[0] && a.halves[1] == b.halves[1] &&
                   a.isAddress == b.isAddress;
        }
    };

    std::vector<CountEntry> ipv4Entries();
    std::vector<CountEntry> ipv6Entries();

    std::int64_t withoutAddress_ = 0;
    FlatCounts<Ipv4> ipv4_;
    FlatCounts<Ipv6> ipv6_;
};

class PortCounts {
  public:
    void add(std::uint16_t port, std::int64_t count) { counts_[port] += count; }
    std::vector<CountEntry> entries() const;

  private:
    std::vector<std::int64_t> counts_ = std::vector<std::int64_t>(65536);
};

} // namespace brindle::tallyd
