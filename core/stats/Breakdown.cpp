// SPDX-License-Identifier: BSD-2-Clause
#include "core/stats/Breakdown.h"

#include "core/net/DecimalText.h"
#include "core/stats/TallySet.h"

namespace brindle {

std::optional<StatisticsInformation> requestBreakdown(const VisualizerObj& row, InspectedKind kind,
                                                      double epoch, const std::string& action,
                                                      const std::string& direction,
                                                      const TallyServices& services) {
    StatisticsInformation information;
    const auto fill = [&](const BreakdownReply& reply) {
        for (std::size_t i = 0; i < reply.entries.size(); ++i)
            information.arrayforcontroller.push_back(
                rowFromCount(reply.entries[i], i, Bare::no, services));
        for (const CountEntry& entry : reply.pie)
            information.arrayforpiechart.push_back(entry.value);
    };
    if (kind == InspectedKind::address) {
        information.obj = "ip";
        if (const auto daemon = services.helper->synchronousProxy())
            daemon->getPORTfromIPcontWithEpoch(epoch, row.originallabel(), action, direction, fill);
        return information;
    }
    const auto port = decimalInteger(row.label());
    if (!port)
        return std::nullopt;
    information.obj = "port";
    if (const auto daemon = services.helper->synchronousProxy())
        daemon->getIPfromPORTcontWithEpoch(epoch, *port, action, direction, fill);
    return information;
}

} // namespace brindle
