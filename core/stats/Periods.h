// SPDX-License-Identifier: BSD-2-Clause
//
// From when the list windows count: what they share, and what a choice in one of their period menus
// changes. One PeriodState a process, owned by the composition root; main thread.
//
//     selectedEpoch = choosePeriod(periods, 1, startOfToday());
#pragma once

#include <cstdint>

namespace brindle {

struct PeriodState {
    double bootEpoch = 0;       ///< seconds since 1970, whole; 0 when unknown
    double listsStartEpoch = 0; ///< start of every statistics request
    int listsPeriod = 0;        ///< last choice in any list window: 0 boot, 1 week, 2 month
};

/// Notes a choice and returns the start that the choosing window counts from. `item`: the place in
/// the period menu, 0 since boot, 1 last week, 2 last month; any other counts from boot and leaves
/// listsPeriod as it is. `startOfToday`: local midnight, seconds since 1970.
double choosePeriod(PeriodState& periods, int item, double startOfToday);

} // namespace brindle
