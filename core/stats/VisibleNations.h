// SPDX-License-Identifier: BSD-2-Clause
//
// Nation look-ups for the rows that a table shows. Main thread.
#pragma once

#include "core/stats/TallyServices.h"
#include "core/stats/VisualizerObj.h"

#include <cstddef>
#include <functional>
#include <memory>

namespace brindle {

/// The rows that a table shows, in its order.
struct VisibleRows {
    std::size_t first = 0;
    std::size_t number = 0;   ///< rows in sight; 0: nothing is looked up
    std::size_t arranged = 0; ///< rows of the whole table
};

/// Schedules a nation look-up for each row in sight, and the one below them, that never had one.
/// `rowAt`: the row at a place of the table. Runs through the serial queue of the visible-row
/// passes and returns when it is through.
void resolveVisibleNations(const VisibleRows& visible,
                           const std::function<VisualizerObj&(std::size_t place)>& rowAt,
                           const TallyServices& services);

} // namespace brindle
