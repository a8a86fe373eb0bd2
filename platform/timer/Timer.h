// SPDX-License-Identifier: BSD-2-Clause
//
// One-shot timers on the main thread's event loop. Whoever starts a timer owns it; destroying or
// invalidating it means its handler never runs; its own handler may
// do either. Tests hand in a clock of their own.
//
//     timer_ = timers.after(10.0, [this] { timeoutQuerySRCIP(); });
#pragma once

#include "platform/queue/Task.h"

#include <memory>

namespace brindle::platform {

class Timer {
  public:
    virtual ~Timer() = default;
    /// The handler does not run any more. Harmless when it ran already.
    virtual void invalidate() = 0;
    virtual bool isRunning() const = 0;
};

class TimerService {
  public:
    virtual ~TimerService() = default;
    /// `seconds`: from now on, 0 means the next turn of the event loop. Call on the main thread.
    virtual std::unique_ptr<Timer> after(double seconds, Task handler) = 0;
};

/// Timers of the running application's event loop.
std::unique_ptr<TimerService> makeMainTimerService();

} // namespace brindle::platform
