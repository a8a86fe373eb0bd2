// SPDX-License-Identifier: BSD-2-Clause
#include "protocol/client/QueryGate.h"

#include <chrono>

namespace brindle::client {

namespace {
/// Far longer than a thread needs from the check to the callback's first line, and short enough for
/// a main thread that cancels while a callback waits for it.
constexpr std::chrono::milliseconds kTimeToStart{10};
} // namespace

void QueryGate::close() {
    std::unique_lock lock(mutex_);
    closed_ = true;
    if (running_ && runner_ != std::this_thread::get_id())
        left_.wait_for(lock, kTimeToStart, [this] { return !running_; });
}

bool QueryGate::isClosed() const {
    std::lock_guard lock(mutex_);
    return closed_;
}

bool QueryGate::enter() {
    std::lock_guard lock(mutex_);
    if (closed_)
        return false;
    running_ = true;
    runner_ = std::this_thread::get_id();
    return true;
}

void QueryGate::leave() {
    std::lock_guard lock(mutex_);
    running_ = false;
    left_.notify_all();
}

} // namespace brindle::client
