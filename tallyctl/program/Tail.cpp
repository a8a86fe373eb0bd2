// SPDX-License-Identifier: BSD-2-Clause
#include "tallyctl/program/Program.h"

#include "platform/connection/UnixSocket.h"
#include "tallyctl/program/RecordLines.h"

#include <csignal>
#include <map>
#include <mutex>
#include <utility>

#include <pthread.h>

namespace brindle::tallyctl {

namespace {

/// The signals that end the waiting: the user's three, and the one that Waiter sends itself.
sigset_t endingSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGUSR1})
        sigaddset(&signals, signal);
    return signals;
}

/// Lets the thread that made it wait for a signal or for another thread's word, whichever is first.
class Waiter {
  public:
    void end(Outcome outcome) {
        const std::lock_guard lock(mutex_);
        if (ended_)
            return;
        ended_ = true;
        outcome_ = std::move(outcome);
        pthread_kill(waiting_, SIGUSR1);
    }
    Outcome wait() {
        const sigset_t signals = endingSignals();
        int signal = 0;
        sigwait(&signals, &signal);
        const std::lock_guard lock(mutex_);
        ended_ = true;
        return outcome_;
    }

  private:
    const pthread_t waiting_ = pthread_self();
    std::mutex mutex_;
    bool ended_ = false;
    Outcome outcome_;
};

/// Called on the delivery thread alone.
class Printer : public TallydAgentProtocol {
  public:
    Printer(Format format, Output& output, Waiter& waiter)
        : lines_(format), output_(output), waiter_(waiter) {
        write(lines_.heading());
    }

    void realTimeLogWithInfo(LiveRecordDictionary info) override {
        const auto record = convertLiveRecord(info);
        if (!record)
            return;
        buffer_.clear();
        lines_.append(*record, buffer_);
        write(buffer_);
    }
    void sendLogUserNotificationWithInfo(std::map<std::string, std::string>) override {}

  private:
    void write(const std::string& text) {
        switch (output_.write(text)) {
        case WriteResult::written:
            break;
        case WriteResult::closed:
            waiter_.end({});
            break;
        case WriteResult::failed:
            waiter_.end(tl::make_unexpected("standard output: " + output_.reason()));
            break;
        }
    }

    RecordLines lines_;
    Output& output_;
    Waiter& waiter_;
    std::string buffer_;
};

} // namespace

Outcome runTail(const Arguments& arguments, const OpenConnection& open, Output& output) {
    Waiter waiter;
    auto printer = std::make_shared<Printer>(arguments.format, output, waiter);
    const auto connect = [path = arguments.socketPath]() -> tl::expected<int, std::string> {
        return platform::connectUnix(path).map(
            [](platform::FileDescriptor socket) { return socket.release(); });
    };
    // The connection goes first at the end: nothing is printed or told after that.
    auto connection = open(connect, printer);
    connection->setInvalidationHandler([&waiter, path = arguments.socketPath] {
        waiter.end(tl::make_unexpected("the connection to tallyd at " + path + " ended"));
    });
    // Asked before it connects: should it fail to, the request's line says why.
    connection
        ->remoteObjectProxyWithErrorHandler(
            [&waiter](const std::string& line) { waiter.end(tl::make_unexpected(line)); })
        ->startSendingLog();
    connection->resume();
    return waiter.wait();
}

} // namespace brindle::tallyctl
