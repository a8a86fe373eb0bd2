// SPDX-License-Identifier: BSD-2-Clause
//
// Opens a statistics window for each of the rows that were selected in a list. Main thread; waits
// for the daemon.
#pragma once

#include "app/AppContext.h"
#include "core/stats/TallyRows.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace brindle {

/// Uniform, 0 to 999999998.
std::uint32_t randomWindowNumber();

/// Counts since the start that the list windows share. Nothing opens for a port row whose label is
/// no number, nor while no statistics windows are made. `windowNumber`: what their names end in.
void openStatistics(AppContext& context, const std::vector<TallyRows::Row>& rows,
                    InspectedKind kind, const std::string& action, const std::string& direction,
                    const std::function<std::uint32_t()>& windowNumber = randomWindowNumber);

} // namespace brindle
