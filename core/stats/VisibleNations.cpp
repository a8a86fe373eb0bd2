// SPDX-License-Identifier: BSD-2-Clause
#include "core/stats/VisibleNations.h"

#include <algorithm>

namespace brindle {

void resolveVisibleNations(const VisibleRows& visible,
                           const std::function<VisualizerObj&(std::size_t place)>& rowAt,
                           const TallyServices& services) {
    if (visible.number == 0 || visible.arranged == 0)
        return;
    services.queues.updateVisualizer->sync([&] {
        const std::size_t last = std::min(visible.first + visible.number, visible.arranged - 1);
        for (std::size_t place = visible.first; place <= last; ++place)
            rowAt(place).setNationInfo(services);
    });
}

} // namespace brindle
