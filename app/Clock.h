// SPDX-License-Identifier: BSD-2-Clause
//
// The time as queries use it. Any thread.
#pragma once

namespace brindle {

/// Seconds since 1970-01-01 00:00 UTC, fractional.
double epochNow();

/// The start of the current day in the local time zone, seconds since 1970.
double startOfToday();

} // namespace brindle
