// SPDX-License-Identifier: BSD-2-Clause
#include "platform/queue/DispatchQueue.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <utility>

#include <pthread.h>

namespace brindle::platform {

namespace {

/// How long a worker without work stays, so that a burst does not make a thread for each task.
constexpr std::chrono::milliseconds kLinger{500};

/// The place of a synchronous task in the queue: the worker that reaches it lets the caller run.
struct Turn {
    bool reached = false;
    bool over = false;
};

struct Item {
    Task task;
    std::shared_ptr<Turn> turn;
};

/// What workers and the queue share; a worker keeps it alive when a task drops the queue itself.
struct Shared {
    Shared(std::string queueLabel, unsigned queueWidth)
        : label(std::move(queueLabel)), width(queueWidth) {}

    const std::string label;
    const unsigned width;

    std::mutex mutex;
    std::condition_variable workOrEnd; ///< workers wait here
    std::condition_variable progress;  ///< synchronous callers and the destructor wait here
    std::deque<Item> items;
    unsigned workers = 0;
    unsigned idle = 0;
    bool ending = false;
};

/// The queue whose task the current thread runs.
thread_local const Shared* runningQueue = nullptr;

void work(const std::shared_ptr<Shared>& shared) {
    runningQueue = shared.get();
    std::unique_lock lock(shared->mutex);
    for (;;) {
        if (shared->items.empty()) {
            ++shared->idle;
            const bool more = shared->workOrEnd.wait_for(
                lock, kLinger, [&] { return !shared->items.empty() || shared->ending; });
            --shared->idle;
            if (!more || shared->items.empty())
                break;
        }
        Item item = std::move(shared->items.front());
        shared->items.pop_front();
        if (item.turn) {
            item.turn->reached = true;
            shared->progress.notify_all();
            shared->progress.wait(lock, [&] { return item.turn->over; });
            continue;
        }
        lock.unlock();
        item.task();
        item.task = Task(); // what it carried goes before the next task starts
        lock.lock();
    }
    --shared->workers;
    shared->progress.notify_all();
}

class PooledQueue final : public DispatchQueue {
  public:
    PooledQueue(std::string label, unsigned width)
        : shared_(std::make_shared<Shared>(std::move(label), width)) {}

    ~PooledQueue() override {
        std::unique_lock lock(shared_->mutex);
        shared_->ending = true;
        shared_->workOrEnd.notify_all();
        // A task that drops the last reference cannot wait for itself: its worker runs the rest.
        if (runningQueue != shared_.get())
            shared_->progress.wait(lock, [this] { return shared_->workers == 0; });
    }

    void async(Task task) override {
        std::lock_guard lock(shared_->mutex);
        submit({std::move(task), nullptr});
    }

    void sync(Task task) override {
        auto turn = std::make_shared<Turn>();
        std::unique_lock lock(shared_->mutex);
        submit({Task(), turn});
        shared_->progress.wait(lock, [&] { return turn->reached; });
        lock.unlock();
        task();
        lock.lock();
        turn->over = true;
        shared_->progress.notify_all();
    }

    const std::string& label() const override { return shared_->label; }

  private:
    void submit(Item item) {
        shared_->items.push_back(std::move(item));
        if (shared_->idle >= shared_->items.size() || shared_->workers == shared_->width) {
            shared_->workOrEnd.notify_one();
            return;
        }
        ++shared_->workers;
        std::thread worker([shared = shared_] { work(shared); });
        // The kernel keeps fifteen characters.
        ::pthread_setname_np(worker.native_handle(), shared_->label.substr(0, 15).c_str());
        worker.detach();
    }

    std::shared_ptr<Shared> shared_;
};

} // namespace

std::shared_ptr<DispatchQueue> makeSerialQueue(std::string label) {
    return std::make_shared<PooledQueue>(std::move(label), 1);
}

std::shared_ptr<DispatchQueue> makeConcurrentQueue(std::string label, unsigned width) {
    if (width == 0)
        width = std::max(2u, std::thread::hardware_concurrency());
    return std::make_shared<PooledQueue>(std::move(label), width);
}

Queues makeQueues(std::shared_ptr<DispatchQueue> main) {
    Queues queues;
    queues.main = std::move(main);
    queues.global = makeConcurrentQueue("global");
    queues.reverse = makeSerialQueue("ReverseQueue");
    queues.nationInfo = makeSerialQueue("nationinfoqueue");
    queues.updateVisualizer = makeSerialQueue("queueUpdateVisualizzerTable");
    queues.realTimeLog = makeConcurrentQueue("queueRealTimeLog");
    return queues;
}

} // namespace brindle::platform
