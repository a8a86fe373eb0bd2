// SPDX-License-Identifier: BSD-2-Clause
//
// Decides whether a callback of a log query may still start. Shared by the query's handle, which
// any thread may cancel, and by the delivery thread, which asks before each callback.
#pragma once

#include <condition_variable>
#include <mutex>
#include <thread>

namespace brindle::client {

class QueryGate {
  public:
    /// No callback starts after this returned. On the delivery thread itself (from within a
    /// callback) it never waits. Elsewhere a callback that was let through this very moment is
    /// given the time to start, but no more: it may wait for the one who cancels.
    void close();
    bool isClosed() const;

    /// On the delivery thread: runs `callback` unless the gate is closed.
    template <typename Callback>
    void pass(Callback&& callback) {
        if (!enter())
            return;
        const Leave leave{*this};
        callback();
    }

  private:
    struct Leave {
        QueryGate& gate;
        ~Leave() { gate.leave(); }
    };

    bool enter();
    void leave();

    mutable std::mutex mutex_;
    std::condition_variable left_;
    bool closed_ = false;
    bool running_ = false;
    std::thread::id runner_;
};

} // namespace brindle::client
