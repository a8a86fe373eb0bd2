// SPDX-License-Identifier: BSD-2-Clause
//
// A thread that runs an RPC event loop and takes work from any other thread. Each end of the
// connection has one; everything that belongs to the loop (streams, promises, capabilities) is
// made, used and destroyed by work posted to it.
//
//     LoopThread loop("delivery");
//     loop.post([&] { session.connect(loop.io()); });
#pragma once

#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <kj/async-io.h>
#include <kj/function.h>

namespace brindle::wire {

class LoopThread {
  public:
    using Work = kj::Function<void()>;

    explicit LoopThread(const std::string& name);
    ~LoopThread() { stop(); }
    LoopThread(const LoopThread&) = delete;
    LoopThread& operator=(const LoopThread&) = delete;

    /// Runs `work` on the thread, outside of every promise callback, in the order of posting. False
    /// when the thread has ended: the work is destroyed unrun.
    bool post(Work work);
    /// Runs what was posted so far, then ends the thread. Harmless when called again; never call it
    /// from the thread itself.
    void stop();
    bool isCurrent() const { return std::this_thread::get_id() == id_; }

    /// On the thread only.
    kj::LowLevelAsyncIoProvider& io() { return *io_; }

  private:
    void run();
    std::vector<Work> takeWork(bool& ending);

    kj::LowLevelAsyncIoProvider* io_ = nullptr;
    int wakeRead_ = -1;
    int wakeWrite_ = -1;

    std::mutex mutex_;
    std::vector<Work> inbox_;
    bool woken_ = false; ///< a byte is on its way through the pipe
    bool ending_ = false;
    bool ended_ = false;

    std::thread thread_;
    std::thread::id id_; ///< kept apart: joining changes the thread object
};

} // namespace brindle::wire
