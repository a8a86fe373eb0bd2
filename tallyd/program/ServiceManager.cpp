// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/program/ServiceManager.h"

#include <cinttypes>
#include <cstdlib>
#include <ctime>

#include <systemd/sd-daemon.h>

namespace brindle::tallyd {

namespace {

std::uint64_t uptimeMicros() {
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::uint64_t>(now.tv_sec) * 1000000 +
           static_cast<std::uint64_t>(now.tv_nsec) / 1000;
}

} // namespace

void tellServiceManager(ServiceState state) {
    switch (state) {
    case ServiceState::ready:
        sd_notify(0, "READY=1");
        break;
    case ServiceState::reloading:
        // The time lets the manager tell this reload from one before it.
        sd_notifyf(0, "RELOADING=1\nMONOTONIC_USEC=%" PRIu64, uptimeMicros());
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

bool isService() {
    return std::getenv("NOTIFY_SOCKET") != nullptr;
}

std::optional<std::chrono::microseconds> watchdogInterval() {
    std::uint64_t microseconds = 0;
    if (sd_watchdog_enabled(0, &microseconds) <= 0)
        return std::nullopt;
    // Twice in the time the manager allows.
    return std::chrono::microseconds(microseconds / 2);
}

} // namespace brindle::tallyd
