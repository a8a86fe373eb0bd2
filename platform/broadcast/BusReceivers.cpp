// SPDX-License-Identifier: BSD-2-Clause
#include "platform/broadcast/BusReceivers.h"

#include <utility>

namespace brindle::platform {

SignalReceiver::SignalReceiver(std::function<void(const QDBusMessage&)> handler)
    : handler_(std::move(handler)) {}

void SignalReceiver::receive(const QDBusMessage& message) {
    handler_(message);
}

HandOverReceiver::HandOverReceiver(std::function<void(const QStringList&)> handler)
    : handler_(std::move(handler)) {}

void HandOverReceiver::handOver(const QStringList& arguments) {
    handler_(arguments);
}

} // namespace brindle::platform
