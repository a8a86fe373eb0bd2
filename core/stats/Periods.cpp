// SPDX-License-Identifier: BSD-2-Clause
#include "core/stats/Periods.h"

namespace brindle {
namespace {

constexpr double kLastWeekSeconds = 592200;   // 6 days 20.5 hours
constexpr double kLastMonthSeconds = 2538000; // 29 days 9 hours

} // namespace

double choosePeriod(PeriodState& periods, int item, double startOfToday) {
    switch (item) {
    case 1:
        periods.listsStartEpoch = startOfToday - kLastWeekSeconds;
        break;
    case 2:
        periods.listsStartEpoch = startOfToday - kLastMonthSeconds;
        break;
    default:
        periods.listsStartEpoch = periods.bootEpoch;
        break;
    }
    if (item >= 0 && item <= 2)
        periods.listsPeriod = item;
    return periods.listsStartEpoch;
}

} // namespace brindle
