// SPDX-License-Identifier: BSD-2-Clause
#include "platform/timer/Timer.h"

#include <QObject>
#include <QPointer>
#include <QTimer>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <limits>
#include <map>

namespace brindle::platform {
namespace {

using Clock = std::chrono::steady_clock;

/// Every deadline of the program behind one timer of the toolkit, whose own list grows slow with
/// thousands. Handlers that fall due together run in slices, so that painting goes on.
class Deadlines final : public QObject {
  public:
    struct Entry {
        Task handler;
        std::multimap<Clock::time_point, std::shared_ptr<Entry>>::iterator place;
        bool running = true;
    };

    Deadlines() {
        timer_.setSingleShot(true);
        timer_.setTimerType(Qt::PreciseTimer);
        connect(&timer_, &QTimer::timeout, this, [this] { runDue(); });
    }

    std::shared_ptr<Entry> add(double seconds, Task handler) {
        constexpr double kLongest = 1e9; // some thirty years; also what not-a-number becomes
        const double wait = seconds < kLongest ? std::max(seconds, 0.0) : kLongest;
        auto entry = std::make_shared<Entry>();
        entry->handler = std::move(handler);
        const auto due = Clock::now() + std::chrono::duration_cast<Clock::duration>(
                                            std::chrono::duration<double>(wait));
        entry->place = due_.emplace(due, entry);
        if (entry->place == due_.begin())
            arm();
        return entry;
    }

    void remove(Entry& entry) {
        if (!entry.running)
            return;
        entry.running = false;
        due_.erase(entry.place); // the timer may fire for nothing, which costs less than arming
    }

  private:
    void arm() {
        if (due_.empty())
            return;
        const auto wait =
            std::chrono::ceil<std::chrono::milliseconds>(due_.begin()->first - Clock::now())
                .count();
        timer_.start(static_cast<int>(
            std::clamp<std::chrono::milliseconds::rep>(wait, 0, std::numeric_limits<int>::max())));
    }

    void runDue() {
        constexpr auto kSlice = std::chrono::milliseconds(5);
        const Clock::time_point begin = Clock::now();
        const QPointer<Deadlines> self(this); // a handler may end the program
        while (!due_.empty() && due_.begin()->first <= begin) {
            const std::shared_ptr<Entry> entry = due_.begin()->second;
            due_.erase(due_.begin());
            entry->running = false;
            Task handler = std::move(entry->handler);
            handler();
            if (!self)
                return;
            if (Clock::now() - begin >= kSlice)
                break;
        }
        arm();
    }

    QTimer timer_;
    std::multimap<Clock::time_point, std::shared_ptr<Entry>> due_;
};

class MainTimer final : public Timer {
  public:
    MainTimer(std::shared_ptr<Deadlines> deadlines, double seconds, Task handler)
        : deadlines_(std::move(deadlines)), entry_(deadlines_->add(seconds, std::move(handler))) {}
    ~MainTimer() override { deadlines_->remove(*entry_); }

    void invalidate() override { deadlines_->remove(*entry_); }
    bool isRunning() const override { return entry_->running; }

  private:
    const std::shared_ptr<Deadlines> deadlines_;
    const std::shared_ptr<Deadlines::Entry> entry_;
};

class MainTimerService final : public TimerService {
  public:
    std::unique_ptr<Timer> after(double seconds, Task handler) override {
        return std::make_unique<MainTimer>(deadlines_, seconds, std::move(handler));
    }

  private:
    const std::shared_ptr<Deadlines> deadlines_ = std::make_shared<Deadlines>();
};

} // namespace

std::unique_ptr<TimerService> makeMainTimerService() {
    return std::make_unique<MainTimerService>();
}

} // namespace brindle::platform
