// SPDX-License-Identifier: BSD-2-Clause
//
// The packet filter's table that a black list becomes, and how it is put in place. The table is
// ours alone: it is replaced as a whole, in one transaction, and no other table is touched.
#pragma once

#include "vardex/guard/AddressBlock.h"

#include <cstdint>
#include <string>
#include <vector>

#include <tl/expected.hpp>

namespace brindle::vardex {

/// The netfilter log group that the daemon reads unless told otherwise.
inline constexpr std::uint16_t kDefaultLogGroup = 5;

/// Says what the rule does: log readers tell a block from a pass by the word "drop".
inline constexpr const char* kLogPrefix = "vardex drop: ";

/// `blocks`: without overlaps.
std::string rulesetText(const std::vector<AddressBlock>& blocks, std::uint16_t logGroup);

/// All of it or, with an error of one line, nothing. Needs the right to administer the network.
tl::expected<void, std::string> applyRuleset(const std::string& text);

} // namespace brindle::vardex
