// SPDX-License-Identifier: BSD-2-Clause
//
// How times are written and read: the date pattern of every record, the decimal text of an epoch,
// and the numbers that record dictionaries carry as text. Callable from any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace brindle {

/// "2023/11/14 22:13:20" for an epoch (seconds since 1970, UTC) in the machine's current local time
/// zone, digits and order the same in every locale. Empty for a time that no calendar holds.
std::string dateText(double epoch);

/// The shortest decimal text that reads back to the same double, with ".0" for whole seconds.
std::string epochText(double epoch);

/// A decimal floating-point number that fills the whole text; nothing otherwise.
std::optional<double> epochFromText(std::string_view text);

/// Seconds to microseconds since 1970, rounded to the nearest and held within what 64 bits carry;
/// not-a-number counts as 0.
std::int64_t microsFromEpoch(double epoch);
double epochFromMicros(std::int64_t micros);

} // namespace brindle
