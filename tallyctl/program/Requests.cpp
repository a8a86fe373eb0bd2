// SPDX-License-Identifier: BSD-2-Clause
#include "tallyctl/program/Program.h"

#include "platform/connection/UnixSocket.h"
#include "tallyctl/program/RecordLines.h"
#include "tallyctl/program/ReplyText.h"

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <optional>
#include <utility>

#include <fmt/format.h>

namespace brindle::tallyctl {

namespace {

/// How something ended, told by one thread and awaited by another.
class Ending {
  public:
    /// The first call counts.
    void set(Outcome outcome) {
        {
            const std::lock_guard lock(mutex_);
            if (!outcome_)
                outcome_ = std::move(outcome);
        }
        changed_.notify_all();
    }
    Outcome wait() {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return outcome_.has_value(); });
        return *outcome_;
    }

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::optional<Outcome> outcome_;
};

Outcome outcomeOf(WriteResult result, const Output& output) {
    if (result == WriteResult::failed)
        return tl::make_unexpected("standard output: " + output.reason());
    return {};
}

/// What the delivery thread needs while it prints. Shared with it, as a connection that breaks may
/// tell of it after the answer has ended.
struct Answer {
    explicit Answer(Format format) : lines(format), buffer(lines.heading()) {}

    RecordLines lines;
    std::string buffer; ///< the heading until the first batch or an empty answer's end
    Ending ending;
};

/// Prints batch by batch on the delivery thread; while standard output holds it up the daemon
/// waits.
Outcome runQuery(const Arguments& arguments, TallydConnection& connection, Output& output) {
    const auto answer = std::make_shared<Answer>(arguments.format);
    auto proxy = connection.remoteObjectProxyWithErrorHandler(
        [answer](const std::string& line) { answer->ending.set(tl::make_unexpected(line)); });

    RecordReply reply;
    const auto flush = [answer, &output] {
        const auto result = output.write(answer->buffer);
        answer->buffer.clear();
        if (result != WriteResult::written)
            answer->ending.set(outcomeOf(result, output));
    };
    reply.batch = [answer, flush](const std::shared_ptr<const RecordBatch>& batch) {
        answer->lines.append(*batch, answer->buffer);
        flush();
    };
    reply.end = [answer, flush] {
        flush();
        answer->ending.set({});
    };
    const auto running =
        proxy->doQueryFromEpochFrom(arguments.from, arguments.to, std::move(reply));
    Outcome outcome = answer->ending.wait();
    // After this no batch is printed, whatever the end was.
    running->cancel();
    return outcome;
}

} // namespace

Outcome runRequest(const Arguments& arguments, const OpenConnection& open, Output& output) {
    const auto connect = [path = arguments.socketPath]() -> tl::expected<int, std::string> {
        return platform::connectUnix(path).map(
            [](platform::FileDescriptor socket) { return socket.release(); });
    };
    auto connection = open(connect, std::weak_ptr<TallydAgentProtocol>());
    connection->resume();
    if (arguments.command == Command::query)
        return runQuery(arguments, *connection, output);

    Outcome outcome;
    const auto print = [&](const std::string& text) {
        outcome = outcomeOf(output.write(text), output);
    };
    const auto printLine = [&](const std::string& text) { print(text + '\n'); };
    const auto asked = std::chrono::steady_clock::now();
    const auto printCounts = [&](const std::vector<CountEntry>& entries) {
        const std::chrono::duration<double, std::milli> took =
            std::chrono::steady_clock::now() - asked;
        if (arguments.time)
            fmt::print(stderr, "tallyctl: answered after {:.1f} ms\n", took.count());
        print(countText(entries, arguments.format));
    };
    const auto printList = [&](const BreakdownReply& reply) {
        printCounts(arguments.list == BreakdownList::pie ? reply.pie : reply.entries);
    };
    auto proxy = connection->synchronousRemoteObjectProxyWithErrorHandler(
        [&outcome](const std::string& line) { outcome = tl::make_unexpected(line); });

    switch (arguments.command) {
    case Command::version:
        proxy->getVersionWithReply(printLine);
        break;
    case Command::count:
        proxy->getOBJcontWithEpoch(arguments.epoch, arguments.action, arguments.direction,
                                   arguments.object,
                                   [&](const CountReply& reply) { printCounts(reply.entries); });
        break;
    case Command::portsOf:
        proxy->getPORTfromIPcontWithEpoch(arguments.epoch, arguments.address, arguments.action,
                                          arguments.direction, printList);
        break;
    case Command::addressesOf:
        proxy->getIPfromPORTcontWithEpoch(arguments.epoch, arguments.port, arguments.action,
                                          arguments.direction, printList);
        break;
    case Command::oldest:
        proxy->getOldestRecordDateWithReply(printLine);
        break;
    case Command::newest:
        proxy->getNewestRecordDateWithReply(printLine);
        break;
    case Command::rows:
        proxy->getRowsCountWithReply(printLine);
        break;
    case Command::purge:
        proxy->purgeLogDBWithEndDate(arguments.before);
        break;
    case Command::status:
        proxy->getStatusWithReply(
            [&](const DaemonStatus& status) { print(statusText(status, arguments.format)); });
        break;
    case Command::query:
    case Command::tail:
        break;
    }
    return outcome;
}

} // namespace brindle::tallyctl
