// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/program/ServiceManager.h"

#include <systemd/sd-daemon.h>

namespace brindle::tallyd {

void tellServiceManager(ServiceState state) {
    switch (state) {
    case ServiceState::ready:
        sd_notify(0, "READY=1");
        break;
    case ServiceState::stopping:
        sd_notify(0, "STOPPING=1");
        break;
    case ServiceState::alive:
        sd_notify(0, "WATCHDOG=1");
        break;
    }
}

std::optional<int> inheritedSocket() {
    // The variables are removed: what we start ourselves must not take the socket for its own.
    if (sd_listen_fds(1) < 1 || sd_is_socket(SD_LISTEN_FDS_START, AF_UNIX, SOCK_STREAM, 1) <= 0)
        return std::nullopt;
    return SD_LISTEN_FDS_START;
}

std::optional<std::chrono::microseconds> watchdogInterval() {
    std::uint64_t microseconds = 0;
    if (sd_watchdog_enabled(0, &microseconds) <= 0)
        return std::nullopt;
    // Twice in the time the manager allows.
    return std::chrono::microseconds(microseconds / 2);
}

} // namespace brindle::tallyd
