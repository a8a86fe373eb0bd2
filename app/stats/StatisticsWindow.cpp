// SPDX-License-Identifier: BSD-2-Clause
#include "app/stats/StatisticsWindow.h"

#include "app/stats/VDXStatisticsWindowController.h"

#include <utility>

namespace brindle {

std::shared_ptr<WindowController> makeStatisticsWindow(AppContext& context,
                                                       StatisticsOpening opening) {
    const std::string& obj = opening.information.obj;
    if (obj != "ip" && obj != "port") {
        return nullptr;
    }
    return std::make_shared<VDXStatisticsWindowController>(context, std::move(opening));
}

} // namespace brindle
