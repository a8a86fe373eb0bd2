// SPDX-License-Identifier: BSD-2-Clause
#include "core/log/ViewRefresh.h"

#include <cstdint>
#include <optional>

namespace brindle {
namespace {

void reloadLists(const ViewControllers& views) {
    for (const char* name : {"passin", "passout", "blockin", "blockout"}) {
        if (const auto list = views.find(name); list && list->list) {
            list->list->reloadTallies();
        }
    }
}

} // namespace

void refreshViews(const ViewControllers& views) {
    if (const auto editor = views.find("exclusions"); editor && editor->exclusions) {
        editor->exclusions->reloadExclusions();
    }
    if (const auto logs = views.find("logs"); logs && logs->logs && logs->needrealtime) {
        logs->logs->queryLogs(LogsMode::live, {}, {}, logs->logs->rowCount());
    }
    reloadLists(views);
}

void showWhatWasMissed(const ViewControllers& views, BrindleHelper& helper) {
    helper.liveFeedSwitch();
    if (const auto logs = views.find("logs"); logs && logs->logs && logs->needrealtime) {
        const std::int64_t rows = logs->logs->rowCount();
        logs->logs->queryLogs(LogsMode::live, {}, {},
                              rows > 0 ? std::optional(rows) : std::nullopt);
    }
    reloadLists(views);
}

} // namespace brindle
