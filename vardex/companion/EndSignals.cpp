// SPDX-License-Identifier: BSD-2-Clause
#include "vardex/companion/EndSignals.h"

#include <array>
#include <csignal>
#include <cstddef>

#include <fcntl.h>
#include <unistd.h>

namespace brindle::vardex {
namespace {

constexpr int kSignals[]{SIGINT, SIGTERM, SIGHUP};

// A handler has no other way to find it. Set before the handlers are, and kept for good: a signal
// may come at any time.
int writeEnd = -1;

void note(int) {
    const char byte = 0;
    [[maybe_unused]] const auto written = write(writeEnd, &byte, 1);
}

} // namespace

EndSignals::EndSignals(std::function<void()> asked) {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) != 0) {
        return;
    }
    writeEnd = ends[1];
    notifier_ = std::make_unique<QSocketNotifier>(ends[0], QSocketNotifier::Read);
    QObject::connect(notifier_.get(), &QSocketNotifier::activated, notifier_.get(),
                     [end = ends[0], asked = std::move(asked)] {
                         std::array<char, 16> bytes{};
                         while (read(end, bytes.data(), bytes.size()) > 0) {
                         }
                         asked();
                     });
    for (const int number : kSignals) {
        struct sigaction action {};
        action.sa_handler = note;
        action.sa_flags = SA_RESTART;
        sigaction(number, &action, nullptr);
    }
}

EndSignals::~EndSignals() {
    for (const int number : kSignals) {
        std::signal(number, SIG_DFL);
    }
}

} // namespace brindle::vardex
