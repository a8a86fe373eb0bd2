// SPDX-License-Identifier: BSD-2-Clause
//
// Adds counts up by address or by port, and puts them in the order of a reply. One request's; one
// thread.
#pragma once

#include "core/net/IpAddress.h"
#include "protocol/TallydHelperProtocol.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace brindle::tallyd {

/// Addresses in one flat table: a request adds up to a million counts to some ten thousand of them.
class AddressCounts {
  public:
    AddressCounts();
    void add(const IpAddress& address, std::int64_t count);
    /// Without those that add up to 0.
    std::vector<CountEntry> entries() const;

  private:
    struct Slot {
        std::int64_t count = 0;
        IpAddress address;
        bool used = false;
    };

    Slot& slot(const IpAddress& address);
    void grow();

    std::vector<Slot> slots_; ///< a power of two, at most half of them used
    std::size_t used_ = 0;
};

class PortCounts {
  public:
    void add(std::uint16_t port, std::int64_t count) { counts_[port] += count; }
    std::vector<CountEntry> entries() const;

  private:
    std::vector<std::int64_t> counts_ = std::vector<std::int64_t>(65536);
};

} // namespace brindle::tallyd
