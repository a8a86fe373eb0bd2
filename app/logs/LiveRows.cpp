// SPDX-License-Identifier: BSD-2-Clause
#include "app/logs/LiveRows.h"

#include "app/logs/table/LogsArrayController.h"

#include <algorithm>
#include <utility>

namespace brindle {

std::size_t LiveRows::countWith(std::size_t held) const {
    // Each addition beyond the limit takes one row out, so a table that is larger stays as it is.
    return held >= kLiveRows ? held : std::min(held + waiting_.size(), kLiveRows);
}

void LiveRows::moveInto(LogsArrayController& controller) {
    for (VDXLog& log : std::exchange(waiting_, {})) {
        controller.insertAtFront(std::move(log));
        if (controller.count() > kLiveRows) {
            controller.removeLast();
        }
    }
}

std::uint64_t LiveRows::takeArrived() {
    return std::exchange(arrived_, 0);
}

} // namespace brindle
