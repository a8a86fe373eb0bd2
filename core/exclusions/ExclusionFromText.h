// SPDX-License-Identifier: BSD-2-Clause
//
// From what a user types, or picks in a menu, to an entry of the exclusion list. Pure functions;
// any thread.
//
//     auto result = exclusionFromText("10.0.0.0/24");
//     if (auto* entry = std::get_if<VDXExclusion>(&result)) list.addExclusion(*entry);
#pragma once

#include "core/exclusions/VDXExclusion.h"
#include "core/net/VDAddress.h"

#include <string_view>
#include <variant>

namespace brindle {

/// Nothing was typed.
struct NoExclusion {
    friend bool operator==(const NoExclusion&, const NoExclusion&) = default;
};
/// What was typed is no port, address or block.
struct InvalidExclusion {
    friend bool operator==(const InvalidExclusion&, const InvalidExclusion&) = default;
};
using ExclusionFromText = std::variant<NoExclusion, InvalidExclusion, VDXExclusion>;

/// Text without "." and ":" is a port number, written back in plain decimal ("+80" becomes "80");
/// any other is an address or a block.
ExclusionFromText exclusionFromText(std::string_view text);

/// "ip" for a single address, "cidr" with its first and last address for a block.
VDXExclusion exclusionFromAddress(const VDAddress& address);

} // namespace brindle
