// SPDX-License-Identifier: BSD-2-Clause
//
// What tallyd and the service manager that started it tell each other. Without one, telling does
// nothing and nothing is handed over.
#pragma once

#include <chrono>
#include <optional>

namespace brindle::tallyd {

enum class ServiceState { ready, reloading, stopping, alive };

void tellServiceManager(ServiceState state);

/// The listening socket that the manager made for us. An error-free start without one gives
/// nothing.
std::optional<int> inheritedSocket();

/// Whether a manager started us, to whom the above is told.
bool isService();

/// How often the manager wants to hear ServiceState::alive; nothing when it does not watch.
std::optional<std::chrono::microseconds> watchdogInterval();

} // namespace brindle::tallyd
