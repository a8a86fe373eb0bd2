// SPDX-License-Identifier: BSD-2-Clause
//
// An application object that tells a trace how long the main thread was held by each event it
// handled: the time in which no click and no repaint could be served. Made by the composition root
// when there is something to trace.
#pragma once

#include <QApplication>

#include <vector>

namespace brindle {

class Trace;

class TracedApplication final : public QApplication {
    Q_OBJECT
  public:
    /// `trace`: null to trace nothing; outlives the application.
    TracedApplication(int& argc, char** argv, Trace* trace);

    bool notify(QObject* receiver, QEvent* event) override;

  private:
    struct Hold {
        int loopLevel;    ///< of the event loop that handed the event out
        bool interrupted; ///< an event loop of its own ran within it
    };
    Trace* const trace_;
    std::vector<Hold> holds_; ///< events being handled, one a nested loop
};

} // namespace brindle
