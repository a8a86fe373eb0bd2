// SPDX-License-Identifier: BSD-2-Clause
#include "platform/timer/Timer.h"

#include <QCoreApplication>
#include <QTest>
#include <QTimer>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace brindle::platform {
namespace {

class TimerTest : public testing::Test {
  protected:
    std::unique_ptr<TimerService> timers = makeMainTimerService();
    std::string ran;
};

TEST_F(TimerTest, HandlersRunInTheOrderTheyFallDue) {
    const auto c = timers->after(0.03, [this] { ran += 'c'; });
    const auto a = timers->after(0, [this] { ran += 'a'; });
    const auto b = timers->after(0.01, [this] { ran += 'b'; });
    EXPECT_TRUE(a->isRunning());
    EXPECT_EQ(ran, "") << "never within the call";
    ASSERT_TRUE(QTest::qWaitFor([this] { return ran.size() == 3; }));
    EXPECT_EQ(ran, "abc");
    EXPECT_FALSE(a->isRunning());
}

TEST_F(TimerTest, InvalidatedAndDestroyedTimersStaySilentAlsoWhenDueTogether) {
    std::unique_ptr<Timer> destroyed;
    std::unique_ptr<Timer> invalidated;
    std::unique_ptr<Timer> own;
    own = timers->after(0, [&] {
        ran += 'x';
        own.reset(); // from its own handler
        destroyed.reset();
        invalidated->invalidate();
        EXPECT_FALSE(invalidated->isRunning());
    });
    destroyed = timers->after(0, [this] { ran += 'd'; });
    invalidated = timers->after(0, [this] { ran += 'i'; });
    const auto last = timers->after(0.02, [this] { ran += 'l'; });
    ASSERT_TRUE(QTest::qWaitFor([this] { return ran.find('l') != ran.npos; }));
    EXPECT_EQ(ran, "xl");
}

TEST_F(TimerTest, ManyDeadlinesAtOnceLetOtherEventsThrough) {
    std::vector<std::unique_ptr<Timer>> many;
    int done = 0;
    int doneWhenOthersRan = -1;
    for (int i = 0; i < 100; ++i)
        many.push_back(timers->after(0, [&] {
            if (done++ == 0)
                QTimer::singleShot(0, [&] { doneWhenOthersRan = done; });
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }));
    ASSERT_TRUE(QTest::qWaitFor([&] { return done == 100 && doneWhenOthersRan >= 0; }));
    EXPECT_LT(doneWhenOthersRan, 100);
}

TEST_F(TimerTest, TimerMayOutliveTheServiceThatMadeIt) {
    const auto timer = timers->after(0.01, [this] { ran += 't'; });
    timers.reset();
    ASSERT_TRUE(QTest::qWaitFor([this] { return !ran.empty(); }));
}

} // namespace
} // namespace brindle::platform
