// SPDX-License-Identifier: BSD-2-Clause
//
// Lets the writer have a moment without readers: the write-ahead log can only begin anew when
// nobody reads from it, and readers who take turns would never let it. Shared by a store's writer,
// who closes it, and its readers, who pass it before each of their short transactions. Any thread.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace brindle::tallyd {

class ReaderGate {
  public:
    /// Waits while it is closed.
    void pass() {
        std::unique_lock lock(mutex_);
        opened_.wait_until(lock, closedUntil_, [this] { return !closed_; });
    }

    /// Opens by itself after `most`, whatever becomes of who closed it. Closing it while it is
    /// closed does not prolong that.
    void close(std::chrono::milliseconds most) {
        const std::lock_guard lock(mutex_);
        const auto now = std::chrono::steady_clock::now();
        if (closed_ && now < closedUntil_)
            return;
        closed_ = true;
        closedUntil_ = now + most;
    }
    void open() {
        const std::lock_guard lock(mutex_);
        closed_ = false;
        opened_.notify_all();
    }
    bool isClosed() {
        const std::lock_guard lock(mutex_);
        return closed_ && std::chrono::steady_clock::now() < closedUntil_;
    }

  private:
    std::mutex mutex_;
    std::condition_variable opened_;
    bool closed_ = false;
    std::chrono::steady_clock::time_point closedUntil_;
};

} // namespace brindle::tallyd
