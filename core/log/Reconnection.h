// SPDX-License-Identifier: BSD-2-Clause
//
// Gets back to a daemon that went away, as it does when it is updated: looks now and then whether
// it answers, connects anew and has the open views show what they missed. Made by the composition
// root, which keeps it as long as the helper; main thread.
//
//     Reconnection reconnection(*helper, *timers, {.daemonAnswers = ..., .showWhatWasMissed =
//     ...});
#pragma once

#include "core/log/BrindleHelper.h"
#include "platform/timer/Timer.h"

#include <functional>
#include <memory>

namespace brindle {

class Reconnection {
  public:
    /// Seconds between looks; doubled, up to the longest, for each connection that did not last.
    static constexpr double kFirstDelay = 1;
    static constexpr double kLongestDelay = 32;
    /// A connection that stood so many seconds has lasted.
    static constexpr double kLasting = 10;

    struct Actions {
        /// Whether a connection to the daemon's socket can be made; must not wait.
        std::function<bool()> daemonAnswers;
        /// After a connection was made where one was missing.
        std::function<void()> showWhatWasMissed;
    };

    Reconnection(BrindleHelper& helper, platform::TimerService& timers, Actions actions);

  private:
    void connectionChanged(bool connected);
    void lookAgain();

    BrindleHelper& helper_;
    platform::TimerService& timers_;
    const Actions actions_;
    std::shared_ptr<const BrindleHelper::ConnectionObserver> observer_;
    bool lost_ = false;
    double delay_ = kFirstDelay;
    std::unique_ptr<platform::Timer> timer_; ///< until the next look, or until it has lasted
};

} // namespace brindle
