// SPDX-License-Identifier: BSD-2-Clause
//
// When this machine was started. Asked once at start-up; any thread.
#pragma once

#include <istream>

namespace brindle {

/// Seconds since 1970-01-01 00:00 UTC, whole; 0 when the system does not tell.
double bootTime();

/// The same from the kernel's statistics text ("btime 1700000000" on a line of its own).
double bootTimeFromStatistics(std::istream& text);

} // namespace brindle
