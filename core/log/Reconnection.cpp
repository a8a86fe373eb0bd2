// SPDX-License-Identifier: BSD-2-Clause
#include "core/log/Reconnection.h"

#include <algorithm>
#include <utility>

namespace brindle {

Reconnection::Reconnection(BrindleHelper& helper, platform::TimerService& timers, Actions actions)
    : helper_(helper), timers_(timers), actions_(std::move(actions)),
      observer_(
          helper.observeConnection([this](bool connected) { connectionChanged(connected); })) {
    lookAgain();
}

void Reconnection::connectionChanged(bool connected) {
    if (!connected) {
        lost_ = true;
        lookAgain();
        return;
    }
    timer_ = timers_.after(kLasting, [this] { delay_ = kFirstDelay; });
    if (std::exchange(lost_, false))
        actions_.showWhatWasMissed();
}

void Reconnection::lookAgain() {
    timer_ = timers_.after(delay_, [this] {
        // Who asked for something meanwhile has connected.
        if (helper_.standingConnection())
            return;
        lost_ = true;
        // A connection that cannot be made would be one more that was lost, with a line each time.
        if (actions_.daemonAnswers()) {
            delay_ = std::min(2 * delay_, kLongestDelay);
            helper_.daemonConnection();
        } else {
            lookAgain();
        }
    });
}

} // namespace brindle
