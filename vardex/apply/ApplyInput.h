// SPDX-License-Identifier: BSD-2-Clause
//
// What the helper is told to apply, checked line by line before anything of it reaches the packet
// filter. Whoever writes the input has the right to ask, not to be believed. Pure but for
// `readBounded`.
#pragma once

#include "vardex/guard/AddressBlock.h"
#include "vardex/guard/MachineAddresses.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include <tl/expected.hpp>

namespace brindle::vardex {

/// Some 500,000 addresses; the packet filter's library takes about 1 KB of memory for each.
inline constexpr std::size_t kMaximumInputBytes = std::size_t{8} << 20;

/// Opens a line that means what it says.
inline constexpr std::string_view kForceWord = "force ";

struct ApplyInput {
    std::vector<AddressBlock> blocks; ///< to be applied, without overlaps
    std::vector<std::string> refused; ///< one line each: "refused ADDRESS: reason"
};

/// `text`: an address or block a line, after "force " when the guard is not to be asked; empty
/// lines count for nothing.
ApplyInput checkInput(std::string_view text, const MachineAddresses& machine);

/// Everything that comes from a descriptor. An error when it is more than `most` bytes or cannot be
/// read.
tl::expected<std::string, std::string> readBounded(int descriptor,
                                                   std::size_t most = kMaximumInputBytes);

} // namespace brindle::vardex
