// SPDX-License-Identifier: BSD-2-Clause
#include "platform/timer/Timer.h"

#include <QTimer>

#include <algorithm>
#include <cmath>
#include <limits>

namespace brindle::platform {
namespace {

class MainTimer final : public Timer {
  public:
    MainTimer(double seconds, Task handler) : timer_(new QTimer) {
        const double limit = std::numeric_limits<int>::max();
        const double milliseconds = std::clamp(std::ceil(seconds * 1000.0), 0.0, limit);
        timer_->setSingleShot(true);
        timer_->setTimerType(Qt::PreciseTimer);
        auto work = std::make_shared<Task>(std::move(handler));
        QObject::connect(timer_, &QTimer::timeout, timer_, [work] {
            // The handler may destroy this timer, and what it holds with it.
            Task running = std::move(*work);
            running();
        });
        timer_->start(static_cast<int>(milliseconds));
    }
    ~MainTimer() override {
        timer_->stop();
        timer_->deleteLater(); // it may be the one whose handler is running
    }

    void invalidate() override { timer_->stop(); }
    bool isRunning() const override { return timer_->isActive(); }

  private:
    QTimer* const timer_;
};

class MainTimerService final : public TimerService {
  public:
    std::unique_ptr<Timer> after(double seconds, Task handler) override {
        return std::make_unique<MainTimer>(seconds, std::move(handler));
    }
};

} // namespace

std::unique_ptr<TimerService> makeMainTimerService() {
    return std::make_unique<MainTimerService>();
}

} // namespace brindle::platform
