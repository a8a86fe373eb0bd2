// SPDX-License-Identifier: BSD-2-Clause
//
// A daemon's service with answers that a test sets, and both ends of a connection joined by a
// socket pair.
#pragma once

#include "protocol/TallydConnection.h"
#include "protocol/TallydServer.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

namespace brindle::test {

/// A wait that only a fault makes last; its length says nothing.
constexpr std::chrono::seconds kHang{30};

/// Values that arrive on other threads, in order.
template <typename Value>
class Inbox {
  public:
    void put(Value value) {
        // Told under the lock: whoever waited may destroy this object right afterwards.
        std::lock_guard lock(mutex_);
        values_.push_back(std::move(value));
        arrived_.notify_all();
    }
    /// Everything there is, once there are `count`; fewer when nothing more comes.
    std::vector<Value> waitFor(std::size_t count) {
        std::unique_lock lock(mutex_);
        arrived_.wait_for(lock, kHang, [&] { return values_.size() >= count; });
        return values_;
    }
    std::vector<Value> now() {
        std::lock_guard lock(mutex_);
        return values_;
    }

  private:
    std::mutex mutex_;
    std::condition_variable arrived_;
    std::vector<Value> values_;
};

/// Opens once, for any number of threads.
class Gate {
  public:
    void open() { open_.put(true); }
    bool wait() { return !open_.waitFor(1).empty(); }
    bool isOpen() { return !open_.now().empty(); }

  private:
    Inbox<bool> open_;
};

/// `count` rows whose epochs go down from `newest`, all with the same texts.
inline std::shared_ptr<const RecordBatch> batchOf(std::size_t count, double newest = 1e9) {
    RecordBatchBuilder builder;
    for (std::size_t i = 0; i < count; ++i) {
        RecordRow row;
        row.epoch = newest - static_cast<double>(i);
        row.uid = 1000;
        row.srcport = 51234;
        row.dstport = 443;
        row.rule = builder.intern("12");
        row.action = builder.intern("block");
        row.direction = builder.intern("in");
        row.interface = builder.intern("em0");
        row.srcip = builder.intern("192.0.2.1");
        row.dstip = builder.intern("2001:db8::1");
        row.proto = builder.intern("tcp");
        builder.add(row);
    }
    return builder.finish();
}

using NextPage = tl::expected<std::shared_ptr<const RecordBatch>, std::string>;

/// A cursor made of a function; `closed` opens when it is destroyed.
class FunctionCursor final : public RecordCursor {
  public:
    FunctionCursor(std::function<NextPage()> next, std::shared_ptr<Gate> closed)
        : next_(std::move(next)), closed_(std::move(closed)) {}
    ~FunctionCursor() override {
        if (closed_)
            closed_->open();
    }
    NextPage next() override { return next_(); }

  private:
    std::function<NextPage()> next_;
    std::shared_ptr<Gate> closed_;
};

/// Gives the pages out and then the end, or `error` where there is one.
inline std::unique_ptr<RecordCursor> cursorOf(std::vector<std::shared_ptr<const RecordBatch>> pages,
                                              std::string error = {},
                                              std::shared_ptr<Gate> closed = {}) {
    return std::make_unique<FunctionCursor>(
        [pages = std::move(pages), error, index = std::size_t(0)]() mutable -> NextPage {
            if (index < pages.size())
                return pages[index++];
            if (!error.empty())
                return tl::unexpected(error);
            return nullptr;
        },
        std::move(closed));
}

/// Answers are set before the connection is used.
class FakeService : public DaemonService {
  public:
    using Cursor = tl::expected<std::unique_ptr<RecordCursor>, std::string>;

    std::function<Cursor(double, double)> onQuery = [](double, double) { return cursorOf({}); };
    std::function<tl::expected<CountReply, std::string>(const std::string&)> onCount =
        [](const std::string&) { return CountReply(); };
    std::function<tl::expected<BreakdownReply, std::string>(const std::string&)> onBreakdown =
        [](const std::string&) { return BreakdownReply(); };
    std::function<std::string()> onVersion = [] { return "1.2.3"; };
    std::optional<double> oldest;
    std::optional<double> newest;
    std::uint64_t rows = 0;
    DaemonStatus figures;
    Inbox<double> purged;

    std::string version() const override { return onVersion(); }
    Cursor openQuery(double from, double to) override { return onQuery(from, to); }
    tl::expected<CountReply, std::string> countObjects(double epoch, Action action,
                                                       Direction direction,
                                                       const std::string& obj) override {
        return onCount(describe(epoch, obj, action, direction));
    }
    tl::expected<BreakdownReply, std::string>
    portsFromIp(double epoch, const std::string& ip, Action action, Direction direction) override {
        return onBreakdown(describe(epoch, ip, action, direction));
    }
    tl::expected<BreakdownReply, std::string>
    ipsFromPort(double epoch, std::int64_t port, Action action, Direction direction) override {
        return onBreakdown(describe(epoch, std::to_string(port), action, direction));
    }
    tl::expected<std::optional<double>, std::string> oldestRecord() override { return oldest; }
    tl::expected<std::optional<double>, std::string> newestRecord() override { return newest; }
    tl::expected<std::uint64_t, std::string> rowsCount() override { return rows; }
    tl::expected<void, std::string> purgeBefore(double end) override {
        purged.put(end);
        return {};
    }
    tl::expected<DaemonStatus, std::string> status() override { return figures; }

  private:
    static std::string describe(double epoch, const std::string& what, Action action,
                                Direction direction) {
        return std::to_string(static_cast<long>(epoch)) + " " + what + " " +
               std::string(actionText(action)) + " " + std::string(directionText(direction));
    }
};

inline PeerAccess fullAccess() {
    return {true, true, {}, {}};
}

/// Two ends of a stream socket: the server's and the client's.
inline std::pair<int, int> socketPair() {
    int ends[2] = {-1, -1};
    EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    return {ends[0], ends[1]};
}

class RecordingAgent final : public TallydAgentProtocol {
  public:
    void realTimeLogWithInfo(LiveRecordDictionary info) override { live.put(std::move(info)); }
    void sendLogUserNotificationWithInfo(std::map<std::string, std::string>) override {}
    Inbox<LiveRecordDictionary> live;
};

/// A connection to `server` that is resumed; its agent records.
struct Client {
    explicit Client(TallydServer& server, PeerAccess access = fullAccess())
        : Client([&server, access]() -> tl::expected<int, std::string> {
              const auto [theirs, ours] = socketPair();
              server.accept(theirs, access);
              return ours;
          }) {}
    explicit Client(Connector connector)
        : agent(std::make_shared<RecordingAgent>()),
          connection(openTallydConnection(std::move(connector), agent)) {
        connection->setInvalidationHandler([this] { invalidated.put("invalidated"); });
        connection->resume();
    }
    ~Client() { connection.reset(); } // while what its handlers write to still exists

    std::shared_ptr<TallydHelperProtocol> proxy() {
        return connection->remoteObjectProxyWithErrorHandler(
            [this](const std::string& error) { errors.put(error); });
    }
    std::shared_ptr<TallydHelperProtocol> synchronous() {
        return connection->synchronousRemoteObjectProxyWithErrorHandler(
            [this](const std::string& error) { errors.put(error); });
    }

    Inbox<std::string> errors;
    Inbox<std::string> invalidated;
    std::shared_ptr<RecordingAgent> agent;
    std::shared_ptr<TallydConnection> connection;
};

/// What a log query told, in order: "batch 3" with its rows, "end".
struct QueryEvents {
    RecordReply reply() {
        return {[this](std::shared_ptr<const RecordBatch> batch) {
                    const std::size_t rows = batch->size();
                    batches.put(std::move(batch));
                    events.put("batch " + std::to_string(rows));
                },
                [this] { events.put("end"); }};
    }
    Inbox<std::shared_ptr<const RecordBatch>> batches;
    Inbox<std::string> events;
};

} // namespace brindle::test
