// SPDX-License-Identifier: BSD-2-Clause
#include "platform/queue/main/MainQueue.h"
#include "platform/timer/Timer.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QTimer>

#include <atomic>
#include <chrono>
#include <functional>
#include <numeric>
#include <thread>
#include <vector>

namespace brindle::platform {
namespace {

/// Runs the event loop until `holds`, or for so long that something must be wrong.
bool until(const std::function<bool()>& holds) {
    const QDeadlineTimer deadline(20000);
    while (!holds() && !deadline.hasExpired()) {
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents | QEventLoop::AllEvents, 50);
    }
    return holds();
}

TEST(MainQueue, RunsWhatAThreadSubmitsInOrderOnTheMainThread) {
    const auto queue = makeMainQueue();
    const auto main = std::this_thread::get_id();
    std::vector<int> ran;
    std::thread other([&] {
        for (int i = 0; i < 5000; ++i) {
            queue->async([&, i] {
                EXPECT_EQ(std::this_thread::get_id(), main);
                ran.push_back(i);
            });
        }
    });
    other.join();
    ASSERT_TRUE(until([&] { return ran.size() == 5000; }));
    std::vector<int> expected(5000);
    std::iota(expected.begin(), expected.end(), 0);
    EXPECT_EQ(ran, expected);
}

TEST(MainQueue, AFloodOfTasksLeavesTurnsForOtherEvents) {
    const auto queue = makeMainQueue();
    bool stop = false;
    int turns = 0;
    std::function<void()> flood = [&] {
        if (!stop) {
            queue->async(flood); // there is always one more
        }
    };
    flood();
    QTimer timer;
    QObject::connect(&timer, &QTimer::timeout, [&] { ++turns; });
    timer.start(1);
    EXPECT_TRUE(until([&] { return turns >= 3; }));
    stop = true;
    QCoreApplication::processEvents();
}

TEST(MainQueue, GoesOnWhileATaskRunsAnEventLoopOfItsOwn) {
    const auto queue = makeMainQueue();
    bool second = false;
    bool first = false;
    queue->async([&] { first = until([&] { return second; }); }); // as an alert does
    queue->async([&] { second = true; });
    EXPECT_TRUE(until([&] { return first; }));
}

TEST(MainQueue, SyncReturnsAfterTheTaskRanAndAfterTheQueueIsGone) {
    auto queue = makeMainQueue();
    int ran = 0;
    queue->sync([&] { ++ran; });
    EXPECT_EQ(ran, 1) << "from the main thread itself";

    std::atomic<bool> returned = false;
    std::thread other([&] {
        queue->sync([&] { ++ran; });
        returned = true;
    });
    EXPECT_TRUE(until([&] { return returned.load(); }));
    EXPECT_EQ(ran, 2);
    other.join();

    std::atomic<bool> asking = false;
    std::thread late([&, raw = queue.get()] {
        asking = true;
        raw->sync([&] { ++ran; });
    });
    while (!asking) {
        std::this_thread::yield();
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(50)); // it waits by now
    queue.reset();
    late.join();
    EXPECT_EQ(ran, 2);
}

TEST(MainTimer, RunsOnceUnlessInvalidatedOrDestroyed) {
    const auto timers = makeMainTimerService();
    int kept = 0;
    int invalidated = 0;
    int destroyed = 0;
    std::unique_ptr<Timer> own;
    own = timers->after(0, [&] {
        own.reset(); // from within its own handler
        ++kept;
    });
    const auto other = timers->after(0.001, [&] { ++invalidated; });
    other->invalidate();
    timers->after(0.001, [&] { ++destroyed; }).reset();
    bool later = false;
    const auto last = timers->after(0.05, [&] { later = true; });
    EXPECT_TRUE(last->isRunning());
    EXPECT_TRUE(until([&] { return later; }));
    EXPECT_FALSE(last->isRunning() || other->isRunning());
    EXPECT_EQ(kept, 1);
    EXPECT_EQ(invalidated + destroyed, 0);
}

} // namespace
} // namespace brindle::platform

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
