// SPDX-License-Identifier: BSD-2-Clause
#include "app/trace/TracedApplication.h"

#include "app/trace/Trace.h"

#include <fmt/format.h>

#include <QEvent>
#include <QThread>

namespace brindle {

TracedApplication::TracedApplication(int& argc, char** argv, Trace* trace)
    : QApplication(argc, argv), trace_(trace) {}

bool TracedApplication::notify(QObject* receiver, QEvent* event) {
    if (trace_ == nullptr || QThread::currentThread() != thread()) {
        return QApplication::notify(receiver, event);
    }
    const int level = thread()->loopLevel();
    if (!holds_.empty()) {
        if (holds_.back().loopLevel == level) {
            return QApplication::notify(receiver, event); // sent from within an event
        }
        holds_.back().interrupted = true;
    }
    // The receiver may be gone afterwards.
    const char* const name = receiver->metaObject()->className();
    const int type = event->type();
    holds_.push_back({level, false});
    const Trace::Clock::time_point begin = Trace::Clock::now();
    const bool handled = QApplication::notify(receiver, event);
    const bool interrupted = holds_.back().interrupted;
    holds_.pop_back();
    if (!interrupted) {
        trace_->mainThreadHeld(fmt::format("{} event {}", name, type), begin, Trace::Clock::now());
    }
    return handled;
}

} // namespace brindle
