// SPDX-License-Identifier: BSD-2-Clause
//
// The English names of nations by their two-letter codes: ISO 3166-1, the regional codes AP and EU,
// and ZZ for an unknown one. Plain texts without accents or commas. Pure functions; any thread.
//
//     nationName("it").value_or("Unknown location");   // "Italy"
#pragma once

#include <optional>
#include <span>
#include <string_view>

namespace brindle {

struct NationName {
    std::string_view code; ///< two upper-case letters
    std::string_view name;
};

/// Every row, sorted by code.
std::span<const NationName> nationNames();

/// The name of a nation key in either letter case; nothing when the table has no row for it.
std::optional<std::string_view> nationName(std::string_view key);

} // namespace brindle
