// SPDX-License-Identifier: BSD-2-Clause
//
// Which addresses must not be blocked by accident: those without which the machine is cut off, and
// those that are nobody's in particular. Pure; any thread.
//
//     if (const auto reason = reasonToRefuse(block, MachineAddresses::current())) ...
#pragma once

#include "vardex/guard/AddressBlock.h"
#include "vardex/guard/MachineAddresses.h"

#include <optional>
#include <string>

namespace brindle::vardex {

/// Why the block should not be on the list, as the end of a sentence that begins with it: "is the
/// default gateway", "contains the name server 192.0.2.53". Nothing when nothing speaks against it.
std::optional<std::string> reasonToRefuse(const AddressBlock& block,
                                          const MachineAddresses& machine);

} // namespace brindle::vardex
