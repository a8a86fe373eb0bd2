// SPDX-License-Identifier: BSD-2-Clause
#include "core/log/DaemonFigures.h"

namespace brindle {

std::uint64_t DaemonFigures::lost() const {
    std::uint64_t all = 0;
    for (const auto& [reason, count] : lostByReason)
        all += count;
    return all;
}

DaemonFigures daemonFigures(const DaemonStatus& status) {
    DaemonFigures figures{.stored = status.rows, .lostByReason = status.lost, .waiting = {}};
    if (status.liveLost > 0) {
        figures.lostByReason["not taken in time by a viewer"] = status.liveLost;
    }
    for (const SourceStatus& source : status.sources) {
        if (source.state.starts_with("waiting")) {
            figures.waiting.emplace_back(source.name, source.state);
        }
    }
    return figures;
}

} // namespace brindle
