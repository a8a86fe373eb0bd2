// SPDX-License-Identifier: BSD-2-Clause
#include "protocol/server/Workers.h"

#include <algorithm>

namespace brindle::server {

Workers::Workers(std::size_t count, wire::LoopThread& loop) : loop_(loop) {
    for (std::size_t i = 0; i < std::max<std::size_t>(count, 1); ++i)
        threads_.emplace_back([this] { run(); });
}

bool Workers::isFull() {
    // Clients that ask and go leave their questions behind until a worker comes by.
    constexpr std::size_t kMostWaiting = 65536;
    std::lock_guard lock(mutex_);
    return jobs_.size() >= kMostWaiting;
}

void Workers::submit(Job job) {
    {
        std::lock_guard lock(mutex_);
        jobs_.push_back(kj::mv(job));
    }
    more_.notify_one();
}

void Workers::run() {
    std::unique_lock lock(mutex_);
    for (;;) {
        more_.wait(lock, [this] { return ending_ || !jobs_.empty(); });
        if (ending_)
            return;
        Job job = kj::mv(jobs_.front());
        jobs_.pop_front();
        lock.unlock();
        job();
        lock.lock();
    }
}

void Workers::stop() {
    {
        std::lock_guard lock(mutex_);
        ending_ = true;
    }
    more_.notify_all();
    for (std::thread& thread : threads_)
        thread.join();
    threads_.clear();
    if (!jobs_.empty())
        loop_.post([undone = std::exchange(jobs_, {})] {});
}

} // namespace brindle::server
