// SPDX-License-Identifier: BSD-2-Clause
//
// How whole numbers are read from text where addresses, blocks and ports are typed or stored: one
// strict rule, and the loose one that block matching uses. Pure functions; any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace brindle {

/// An optional "+" or "-", then decimal digits and nothing else, within 64 signed bits. Nothing for
/// any other text.
std::optional<std::int64_t> decimalInteger(std::string_view text);

/// Leading white space, an optional sign, then the digits up to the first non-digit; no digits give
/// 0. Values that 64 bits do not hold stay at the nearest that they do.
std::int64_t looseInteger(std::string_view text);

} // namespace brindle
