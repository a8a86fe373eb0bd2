// SPDX-License-Identifier: BSD-2-Clause
//
// The signals that ask the program to end, brought to the main thread, so that it ends in order.
// One object in a program, made by its composition root.
#pragma once

#include <QSocketNotifier>

#include <functional>
#include <memory>

namespace brindle::vardex {

class EndSignals {
  public:
    /// `asked`: on the main thread, for each SIGINT, SIGTERM and SIGHUP.
    explicit EndSignals(std::function<void()> asked);
    ~EndSignals();
    EndSignals(const EndSignals&) = delete;
    EndSignals& operator=(const EndSignals&) = delete;

  private:
    std::unique_ptr<QSocketNotifier> notifier_;
};

} // namespace brindle::vardex
