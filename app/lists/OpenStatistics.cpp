// SPDX-License-Identifier: BSD-2-Clause
#include "app/lists/OpenStatistics.h"

#include <random>
#include <utility>

namespace brindle {

std::uint32_t randomWindowNumber() {
    std::random_device source;
    return std::uniform_int_distribution<std::uint32_t>(0, 999999998)(source);
}

void openStatistics(AppContext& context, const std::vector<TallyRows::Row>& rows,
                    InspectedKind kind, const std::string& action, const std::string& direction,
                    const std::function<std::uint32_t()>& windowNumber) {
    if (!context.makeStatisticsWindow) {
        return;
    }
    for (const TallyRows::Row& row : rows) {
        auto information = requestBreakdown(*row, kind, context.periods.listsStartEpoch, action,
                                            direction, context.tallies);
        if (!information) {
            continue;
        }
        const std::string name = "logs_" + std::to_string(windowNumber());
        if (const auto open = context.windowControllers->find(name)) {
            open->present();
            continue;
        }
        const std::string caption =
            kind == InspectedKind::address ? "IP " + row->originallabel() : "Port " + row->label();
        if (auto window = context.makeStatisticsWindow(
                {.information = std::move(*information), .name = name, .caption = caption})) {
            window->present();
            context.windowControllers->set(name, std::move(window));
        }
    }
}

} // namespace brindle
