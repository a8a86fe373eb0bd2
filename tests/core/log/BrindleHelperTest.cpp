// SPDX-License-Identifier: BSD-2-Clause
#include "core/log/BrindleHelper.h"

#include "tests/core/support/ManualQueue.h"

#include <functional>
#include <vector>

#include <gtest/gtest.h>

namespace brindle {
namespace {

/// Keeps requests until the test answers them, and writes down what was sent.
class FakeConnection : public TallydConnection,
                       public std::enable_shared_from_this<FakeConnection> {
  public:
    explicit FakeConnection(std::vector<std::string>& sent) : sent_(sent) {}

    void setInvalidationHandler(std::function<void()> handler) override {
        invalidation_ = std::move(handler);
    }
    void resume() override { sent_.push_back("resume"); }
    void invalidate() override { breakOff("invalidated"); }
    std::shared_ptr<TallydHelperProtocol>
    remoteObjectProxyWithErrorHandler(ErrorHandler handler) override {
        return std::make_shared<Proxy>(shared_from_this(), std::move(handler));
    }
    std::shared_ptr<TallydHelperProtocol>
    synchronousRemoteObjectProxyWithErrorHandler(ErrorHandler handler) override {
        return std::make_shared<Proxy>(shared_from_this(), std::move(handler));
    }

    void breakOff(const std::string& why) {
        broken_ = why;
        for (auto& failed : std::exchange(errorHandlers_, {}))
            failed(why);
        if (invalidation_)
            std::exchange(invalidation_, {})();
    }
    std::vector<RecordReply> queries;

  private:
    struct Running : RunningQuery {
        void cancel() override {}
    };
    struct Proxy : TallydHelperProtocol {
        Proxy(std::shared_ptr<FakeConnection> c, ErrorHandler e)
            : connection(std::move(c)), failed(std::move(e)) {}
        void send(const std::string& name) {
            if (!connection->broken_.empty())
                return failed(connection->broken_);
            connection->sent_.push_back(name);
        }
        void getVersionWithReply(std::function<void(std::string)>) override { send("version"); }
        std::shared_ptr<RunningQuery> doQueryFromEpochFrom(double, double,
                                                           RecordReply reply) override {
            send("query");
            connection->queries.push_back(std::move(reply));
            connection->errorHandlers_.push_back(failed);
            return std::make_shared<Running>();
        }
        void getOBJcontWithEpoch(double, std::string, std::string, std::string,
                                 std::function<void(CountReply)>) override {}
        void startSendingLog() override { send("start"); }
        void stopSendingLog() override { send("stop"); }
        void getPORTfromIPcontWithEpoch(double, std::string, std::string, std::string,
                                        std::function<void(BreakdownReply)>) override {}
        void getIPfromPORTcontWithEpoch(double, std::int64_t, std::string, std::string,
                                        std::function<void(BreakdownReply)>) override {}
        void sendPortsArraysWithPassin(std::vector<std::string>, std::vector<std::string>,
                                       std::vector<std::string>,
                                       std::vector<std::string>) override {}
        void getOldestRecordDateWithReply(std::function<void(std::string)>) override {}
        void getNewestRecordDateWithReply(std::function<void(std::string)>) override {}
        void getRowsCountWithReply(std::function<void(std::string)>) override {}
        void purgeLogDBWithEndDate(double) override {}
        void getStatusWithReply(std::function<void(DaemonStatus)>) override {}

        std::shared_ptr<FakeConnection> connection;
        ErrorHandler failed;
    };

    std::vector<std::string>& sent_;
    std::string broken_;
    std::function<void()> invalidation_;
    std::vector<ErrorHandler> errorHandlers_;
};

struct RecordingLogsView : LogsView {
    void queryLogs(LogsMode, std::optional<double>, std::optional<double>,
                   std::optional<std::int64_t>) override {}
    void selectLogMode(int) override {}
    void addLiveRecord(const RecordDictionary& record) override {
        rows.emplace_back(*record.get(RecordKey::srcport));
    }
    std::int64_t rowCount() const override { return static_cast<std::int64_t>(rows.size()); }
    std::vector<std::string> rows;
};

struct RecordingListView : ListView {
    void countLiveRecord(const LiveRecordDictionary& record) override {
        ports.push_back(*record.integer(LiveKey::SRCPORT));
    }
    void reloadTallies() override {}
    std::vector<std::int64_t> ports;
};

struct HideAddress : ExclusionTest {
    bool isExcluded(std::string_view srcip, std::string_view srcport, std::string_view,
                    std::string_view dstport, int family) const override {
        lastPorts = std::string(srcport) + ">" + std::string(dstport);
        lastFamily = family;
        return srcip == "203.0.113.66";
    }
    bool isPortExcluded(std::string_view) const override { return false; }
    bool isAddressExcluded(std::string_view, int) const override { return false; }
    mutable std::string lastPorts;
    mutable int lastFamily = -1;
};

LiveRecordDictionary liveRecord(std::int64_t srcport, const char* srcip = "192.0.2.1") {
    LiveRecordDictionary live;
    live.set(LiveKey::EPOCH, 1700000000.0);
    live.set(LiveKey::UID, std::int64_t{0});
    live.set(LiveKey::SRCIP, srcip);
    live.set(LiveKey::SRCPORT, srcport);
    live.set(LiveKey::DSTIP, "198.51.100.1");
    live.set(LiveKey::DSTPORT, std::int64_t{443});
    live.set(LiveKey::IPVER, std::int64_t{4});
    return live;
}

class BrindleHelperTest : public testing::Test {
  protected:
    BrindleHelperTest() {
        platform::Queues queues;
        queues.main = main;
        queues.global = global;
        queues.realTimeLog = realTimeLog;
        helper = BrindleHelper::create(
            [this](std::weak_ptr<TallydAgentProtocol> exported) {
                agent = std::move(exported);
                if (!reachable)
                    return std::shared_ptr<FakeConnection>();
                connections.push_back(std::make_shared<FakeConnection>(sent));
                return connections.back();
            },
            main, views, std::make_unique<LiveFeed>(queues, views, exclusions),
            [this](const std::string& line) { console.push_back(line); });
    }
    void runQueues() {
        while (!main->idle() || !global->idle() || !realTimeLog->idle()) {
            realTimeLog->run();
            global->run();
            main->run();
        }
    }
    std::shared_ptr<ViewEntry> addList(const std::string& name, ListView& view, bool live) {
        auto entry = std::make_shared<ViewEntry>(&view);
        entry->needrealtime = live;
        views.set(name, entry);
        return entry;
    }
    std::shared_ptr<ViewEntry> addLogs(LogsView& view, bool live) {
        auto entry = std::make_shared<ViewEntry>(&view);
        entry->needrealtime = live;
        views.set("logs", entry);
        return entry;
    }

    std::shared_ptr<ManualQueue> main = std::make_shared<ManualQueue>();
    std::shared_ptr<ManualQueue> global = std::make_shared<ManualQueue>();
    std::shared_ptr<ManualQueue> realTimeLog = std::make_shared<ManualQueue>();
    ViewControllers views;
    HideAddress exclusions;
    bool reachable = true;
    std::weak_ptr<TallydAgentProtocol> agent; ///< of the last connection
    std::vector<std::string> sent;
    std::vector<std::string> console;
    std::vector<std::shared_ptr<FakeConnection>> connections;
    std::shared_ptr<BrindleHelper> helper;
};

TEST_F(BrindleHelperTest, RequestsShareOneConnectionUntilItBecomesInvalid) {
    const auto first = helper->daemonConnection();
    EXPECT_EQ(helper->daemonConnection(), first);
    EXPECT_EQ(connections.size(), 1u);

    connections[0]->breakOff("tallyd closed the connection");
    // Until the clean-up on the main queue has run, the broken connection is still the one in use.
    EXPECT_EQ(helper->daemonConnection(), first);
    main->run();
    EXPECT_EQ(helper->standingConnection(), nullptr);
    EXPECT_EQ(connections.size(), 1u) << "looking at it must not make one";
    EXPECT_NE(helper->daemonConnection(), first);
    EXPECT_EQ(connections.size(), 2u);
    EXPECT_EQ(sent, (std::vector<std::string>{"resume", "resume"})) << "nothing is sent again";
}

TEST_F(BrindleHelperTest, LateEndOfAnOldConnectionLeavesTheNewOneAlone) {
    helper->daemonConnection();
    const auto old = connections[0];
    old->breakOff("gone");
    main->run();
    const auto current = helper->daemonConnection();
    old->breakOff("gone again");
    main->run();
    EXPECT_EQ(helper->standingConnection(), current);
}

TEST_F(BrindleHelperTest, ItsConnectionGoesWithItsOwnerWhateverTheDeliveryThreadHolds) {
    helper->daemonConnection();
    const std::weak_ptr<FakeConnection> connection = std::exchange(connections, {}).front();
    auto held = agent.lock(); // as the delivery thread does while a record arrives
    ASSERT_TRUE(held);
    helper.reset();
    EXPECT_TRUE(connection.expired());
    held->realTimeLogWithInfo(liveRecord(1)); // the call goes on
    held.reset();
    runQueues();
}

TEST_F(BrindleHelperTest, ObserverHearsOfMakingAndLosingTheConnection) {
    std::vector<bool> heard;
    auto kept = helper->observeConnection([&](bool connected) { heard.push_back(connected); });
    helper->daemonConnection();
    main->run();
    connections[0]->breakOff("gone");
    main->run();
    EXPECT_EQ(heard, (std::vector<bool>{true, false}));
    kept.reset();
    helper->daemonConnection();
    main->run();
    EXPECT_EQ(heard.size(), 2u);
}

TEST_F(BrindleHelperTest, BrokenQueryWritesOneLineAndTellsItsCaller) {
    int failures = 0;
    int ends = 0;
    const auto query = helper->queryLogs(0, 1, {[](auto) {}, [&] { ++ends; }}, [&] { ++failures; });
    ASSERT_TRUE(query);
    connections[0]->breakOff("tallyd closed the connection");
    EXPECT_EQ(console,
              (std::vector<std::string>{"Brindle XPC Error: tallyd closed the connection"}));
    EXPECT_EQ(failures, 1);
    EXPECT_EQ(ends, 0);
}

TEST_F(BrindleHelperTest, WithoutAConnectionRequestsAreDroppedSilently) {
    reachable = false;
    EXPECT_EQ(helper->queryLogs(0, 1, {}, {}), nullptr);
    EXPECT_EQ(helper->synchronousProxy(), nullptr);
    helper->liveFeedSwitch();
    EXPECT_TRUE(console.empty());
}

TEST_F(BrindleHelperTest, StreamRunsWhileAnyViewIsLiveAndIsToldEachTime) {
    RecordingLogsView logs;
    RecordingListView list;
    const auto command = [this] {
        sent.clear();
        helper->liveFeedSwitch();
        return sent.empty() ? std::string() : sent.back();
    };
    EXPECT_EQ(command(), "stop");
    addLogs(logs, true);
    EXPECT_EQ(command(), "start");
    EXPECT_EQ(command(), "start") << "sent again although nothing changed";
    addList("passin", list, true);
    views.remove("logs");
    EXPECT_EQ(command(), "start") << "a live list remains";
    views.remove("passin");
    EXPECT_EQ(command(), "stop");
    addLogs(logs, false);
    EXPECT_EQ(command(), "stop") << "a logs view that shows a period needs no stream";
    connections[0]->breakOff("gone");
    EXPECT_EQ(command(), "");
    EXPECT_EQ(console, (std::vector<std::string>{"Vardex XPC Service error: gone"}));
}

TEST_F(BrindleHelperTest, LiveRecordReachesEveryListAndOnlyLiveLogs) {
    RecordingLogsView logs;
    RecordingListView live;
    RecordingListView still;
    const auto entry = addLogs(logs, true);
    addList("passin", live, true);
    addList("blockin", still, false);

    helper->realTimeLogWithInfo(liveRecord(1));
    helper->realTimeLogWithInfo(liveRecord(2, "203.0.113.66"));
    EXPECT_EQ(exclusions.lastPorts, "2>443");
    EXPECT_EQ(exclusions.lastFamily, 4);
    helper->sendLogUserNotificationWithInfo({{"any", "thing"}});
    runQueues();
    entry->needrealtime = false;
    helper->realTimeLogWithInfo(liveRecord(3));
    runQueues();

    EXPECT_EQ(logs.rows, (std::vector<std::string>{"1"}));
    EXPECT_EQ(live.ports, (std::vector<std::int64_t>{1, 3}));
    EXPECT_EQ(still.ports, (std::vector<std::int64_t>{1, 3}));
}

TEST_F(BrindleHelperTest, RecordThatCannotBeTestedReachesNoView) {
    RecordingListView list;
    addList("passin", list, true);
    for (const LiveKey key :
         {LiveKey::SRCIP, LiveKey::DSTIP, LiveKey::SRCPORT, LiveKey::DSTPORT, LiveKey::IPVER}) {
        LiveRecordDictionary record = liveRecord(1);
        record.set(key, std::monostate{});
        helper->realTimeLogWithInfo(record);
    }
    runQueues();
    EXPECT_TRUE(list.ports.empty());
}

TEST_F(BrindleHelperTest, BurstReachesListsWholeAndTheLogsViewWithItsNewestRows) {
    RecordingLogsView logs;
    RecordingListView list;
    addLogs(logs, true);
    addList("passin", list, true);
    for (std::int64_t i = 0; i < 2500; ++i)
        helper->realTimeLogWithInfo(liveRecord(i));
    runQueues();
    ASSERT_EQ(list.ports.size(), 2500u);
    EXPECT_TRUE(std::is_sorted(list.ports.begin(), list.ports.end()));
    ASSERT_EQ(logs.rows.size(), kLiveRows);
    EXPECT_EQ(logs.rows.front(), "1500");
    EXPECT_EQ(logs.rows.back(), "2499");
    helper->realTimeLogWithInfo(liveRecord(9));
    runQueues();
    EXPECT_EQ(logs.rows.back(), "9") << "the way to the view must be free again";
}

TEST_F(BrindleHelperTest, ViewThatClosedGetsNothingThatWasOnItsWay) {
    auto logs = std::make_unique<RecordingLogsView>();
    auto list = std::make_unique<RecordingListView>();
    addLogs(*logs, true);
    addList("passin", *list, true);
    helper->realTimeLogWithInfo(liveRecord(1));
    realTimeLog->run();
    global->run();
    views.remove("logs");
    views.remove("passin");
    logs.reset();
    list.reset();
    runQueues(); // must not touch what is gone
    EXPECT_TRUE(main->idle());
}

} // namespace
} // namespace brindle
