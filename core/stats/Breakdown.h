// SPDX-License-Identifier: BSD-2-Clause
//
// The request behind a statistics window: one address by its ports, or one port by its addresses.
// Main thread; waits for the daemon.
#pragma once

#include "core/stats/TallyServices.h"
#include "core/stats/VisualizerObj.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace brindle {

/// What the list view hands to a statistics window.
struct StatisticsInformation {
    std::vector<std::shared_ptr<VisualizerObj>> arrayforcontroller;
    std::vector<std::int64_t> arrayforpiechart; ///< values, in reply order
    std::string obj; ///< "ip": an address is inspected, "port": a port is
};

enum class InspectedKind { address, port };

/// `epoch`: seconds since 1970. Empty lists, with `obj` set, when the request failed or could not
/// be sent. Nothing for a port row whose label is no decimal number.
std::optional<StatisticsInformation> requestBreakdown(const VisualizerObj& row, InspectedKind kind,
                                                      double epoch, const std::string& action,
                                                      const std::string& direction,
                                                      const TallyServices& services);

} // namespace brindle
