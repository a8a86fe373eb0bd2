// SPDX-License-Identifier: BSD-2-Clause
#include "platform/queue/DispatchQueue.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <future>
#include <mutex>
#include <numeric>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

using namespace brindle::platform;

namespace {
constexpr std::chrono::seconds kHang{30};
}

TEST(SerialQueue, tasksOfOneThreadRunInOrderAndNeverTwoAtOnce) {
    std::vector<int> order;
    std::atomic<int> running{0};
    {
        const auto queue = makeSerialQueue("ReverseQueue");
        EXPECT_EQ(queue->label(), "ReverseQueue");
        for (int i = 0; i < 2000; ++i)
            queue->async([&, i] {
                EXPECT_EQ(++running, 1);
                order.push_back(i);
                --running;
            });
    } // destroying the queue runs what was submitted
    std::vector<int> expected(2000);
    std::iota(expected.begin(), expected.end(), 0);
    EXPECT_EQ(order, expected);
}

TEST(SerialQueue, syncRunsOnTheCallerAfterWhatWasSubmittedAndBeforeWhatFollows) {
    const auto queue = makeSerialQueue("serial");
    std::vector<int> order;
    const auto caller = std::this_thread::get_id();
    for (int round = 0; round < 100; ++round) {
        order.clear();
        queue->async([&] { order.push_back(1); });
        queue->sync([&] {
            EXPECT_EQ(std::this_thread::get_id(), caller);
            order.push_back(2);
            queue->async([&] { order.push_back(3); });
            std::this_thread::yield();
            order.push_back(4); // 3 waits for this task to end
        });
        queue->sync([&] { EXPECT_EQ(order, (std::vector{1, 2, 4, 3})); });
    }
}

TEST(SerialQueue, callersFromManyThreadsExcludeEachOther) {
    const auto queue = makeSerialQueue("serial");
    long count = 0; // deliberately not atomic
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < 500; ++i) {
                queue->async([&] { ++count; });
                queue->sync([&] { ++count; });
            }
        });
    for (auto& thread : threads)
        thread.join();
    queue->sync([&] { EXPECT_EQ(count, 4000); });
}

TEST(SerialQueue, aTaskMayDropTheLastReferenceAndTheRestStillRuns) {
    std::promise<void> restRan;
    auto queue = makeSerialQueue("dropped");
    std::promise<void> mayDrop;
    queue->async([&, released = mayDrop.get_future()]() mutable {
        released.wait();
        queue.reset();
    });
    queue->async([&] { restRan.set_value(); });
    mayDrop.set_value();
    EXPECT_EQ(restRan.get_future().wait_for(kHang), std::future_status::ready);
}

TEST(SerialQueue, whatATaskCarriesIsGoneBeforeTheNextOneStarts) {
    const auto queue = makeSerialQueue("serial");
    auto carried = std::make_shared<int>(1);
    const std::weak_ptr<int> watch = carried;
    queue->async([carried = std::move(carried)] {});
    queue->sync([&] { EXPECT_TRUE(watch.expired()); });
}

TEST(ConcurrentQueue, asManyTasksAsItIsWideRunSideBySideAndNoMore) {
    for (const unsigned width : {1u, 2u, 5u}) {
        std::mutex mutex;
        std::condition_variable changed;
        unsigned running = 0;
        unsigned most = 0;
        {
            const auto queue = makeConcurrentQueue("queueRealTimeLog", width);
            for (unsigned i = 0; i < width * 20; ++i)
                queue->async([&] {
                    std::unique_lock lock(mutex);
                    most = std::max(most, ++running);
                    changed.notify_all();
                    // None goes on before the full width was reached once.
                    EXPECT_TRUE(changed.wait_for(lock, kHang, [&] { return most >= width; }));
                    --running;
                });
        }
        EXPECT_EQ(most, width);
    }
}

TEST(Queues, areThoseOfTheSystemWithTheirNames) {
    const auto main = makeSerialQueue("main");
    const Queues queues = makeQueues(main);
    EXPECT_EQ(queues.main, main);
    EXPECT_EQ(queues.reverse->label(), "ReverseQueue");
    EXPECT_EQ(queues.nationInfo->label(), "nationinfoqueue");
    EXPECT_EQ(queues.updateVisualizer->label(), "queueUpdateVisualizzerTable");
    EXPECT_EQ(queues.realTimeLog->label(), "queueRealTimeLog");
    // Concurrent: a task may wait for a later one.
    for (const auto& queue : {queues.global, queues.realTimeLog}) {
        std::promise<void> second;
        queue->async([&, done = second.get_future()]() mutable {
            EXPECT_EQ(done.wait_for(kHang), std::future_status::ready);
        });
        queue->async([&] { second.set_value(); });
        queue->sync([] {});
    }
}
