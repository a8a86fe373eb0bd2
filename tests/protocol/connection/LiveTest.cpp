// SPDX-License-Identifier: BSD-2-Clause
//
// The stream of new records, from publish to the agent.
#include "tests/protocol/FakeDaemon.h"

using namespace brindle;
using namespace brindle::test;

namespace {

using Records = std::shared_ptr<const std::vector<StoredRecord>>;

Records recordsFrom(std::uint64_t first, std::size_t count) {
    auto records = std::make_shared<std::vector<StoredRecord>>();
    for (std::size_t i = 0; i < count; ++i) {
        StoredRecord stored;
        stored.sequence = first + i;
        stored.record.src = *IpAddress::parse("192.0.2.1");
        stored.record.dst = *IpAddress::parse("198.51.100.7");
        stored.record.rule = "12";
        stored.record.interface = "em0";
        stored.record.proto = "tcp";
        records->push_back(stored);
    }
    return records;
}

std::vector<std::int64_t> sequences(const std::vector<LiveRecordDictionary>& live) {
    std::vector<std::int64_t> result;
    for (const auto& record : live)
        result.push_back(*record.integer(LiveKey::SEQ));
    return result;
}

std::vector<std::int64_t> from(std::int64_t first, std::int64_t last) {
    std::vector<std::int64_t> result;
    for (; first <= last; ++first)
        result.push_back(first);
    return result;
}

DaemonStatus statusOf(Client& client) {
    DaemonStatus result;
    client.synchronous()->getStatusWithReply([&](DaemonStatus status) { result = status; });
    return result;
}

class LiveStream : public testing::Test {
  protected:
    FakeService service;
};

} // namespace

TEST_F(LiveStream, recordsCarryEveryKeyInItsType) {
    struct Case {
        PacketRecord record;
        std::vector<LiveValue> expected; ///< in the order of LiveKey
    };
    const auto integer = [](std::int64_t value) { return LiveValue(value); };
    const Case cases[]{
        {{.timeMicros = 1700000000250000,
          .uid = kNoUid,
          .action = Action::block,
          .direction = Direction::out,
          .srcport = 65535,
          .dstport = 443,
          .src = *IpAddress::parse("2001:db8::1"),
          .dst = *IpAddress::parse("fe80::2"),
          .rule = "12.anchor/3",
          .interface = "em0",
          .proto = "tcp"},
         {1700000000.25, integer(4294967295), "12.anchor/3", "block", "out", "em0", "2001:db8::1",
          integer(65535), "fe80::2", integer(443), "tcp", integer(6), integer(41)}},
        {{.timeMicros = -1500000,
          .uid = 0,
          .src = *IpAddress::parse("0.0.0.0"),
          .dst = *IpAddress::parse("255.255.255.255"),
          .rule = "",
          .interface = "",
          .proto = "\xff"},
         {-1.5, integer(0), "", "pass", "in", "", "0.0.0.0", integer(0), "255.255.255.255",
          integer(0), "\xff", integer(4), integer(42)}}};
    const auto server = makeTallydServer(service);
    Client client(*server);
    client.synchronous()->startSendingLog();
    auto records = std::make_shared<std::vector<StoredRecord>>();
    for (const Case& one : cases)
        records->push_back({41 + records->size(), one.record});
    server->publish(records);
    const auto live = client.agent->live.waitFor(2);
    ASSERT_EQ(live.size(), 2u);
    for (std::size_t i = 0; i < 2; ++i)
        for (std::size_t key = 0; key < static_cast<std::size_t>(LiveKey::count); ++key)
            EXPECT_EQ(live[i].get(static_cast<LiveKey>(key)), cases[i].expected[key])
                << keyName(static_cast<LiveKey>(key)) << " of record " << i;
}

TEST_F(LiveStream, onlyBetweenStartAndStopInOrderHoweverOftenTheyAreSent) {
    const auto server = makeTallydServer(service);
    Client client(*server);
    Client other(*server);
    const auto proxy = client.synchronous();
    server->publish(recordsFrom(1, 10)); // nobody asked yet
    proxy->stopSendingLog();
    proxy->startSendingLog();
    proxy->startSendingLog();
    EXPECT_EQ(statusOf(client).liveClients, 1u);
    server->publish(recordsFrom(11, 5000));
    server->publish(recordsFrom(5011, 1));
    EXPECT_EQ(sequences(client.agent->live.waitFor(5001)), from(11, 5011));
    proxy->stopSendingLog();
    proxy->stopSendingLog();
    EXPECT_EQ(statusOf(client).liveClients, 0u);
    server->publish(recordsFrom(6000, 10));
    proxy->startSendingLog();
    server->publish(recordsFrom(7000, 3));
    EXPECT_EQ(sequences(client.agent->live.waitFor(5004)).back(), 7002);
    EXPECT_EQ(client.agent->live.now().size(), 5004u);
    EXPECT_TRUE(other.agent->live.now().empty());
    EXPECT_EQ(statusOf(client).liveLost, 0u);
}

/// A client that takes the first record and then reads no more until `goOn`.
struct StuckAgent final : TallydAgentProtocol {
    void realTimeLogWithInfo(LiveRecordDictionary info) override {
        live.put(std::move(info));
        EXPECT_TRUE(goOn.wait());
    }
    void sendLogUserNotificationWithInfo(std::map<std::string, std::string>) override {}
    Inbox<LiveRecordDictionary> live;
    Gate goOn;
};

/// Follows with such an agent.
struct StuckClient {
    explicit StuckClient(TallydServer& server)
        : agent(std::make_shared<StuckAgent>()), connection(openTallydConnection(
                                                     [&server]() -> tl::expected<int, std::string> {
                                                         const auto [theirs, ours] = socketPair();
                                                         server.accept(theirs, fullAccess());
                                                         return ours;
                                                     },
                                                     agent)) {
        connection->resume();
        connection->synchronousRemoteObjectProxyWithErrorHandler([](auto) { ADD_FAILURE(); })
            ->startSendingLog();
    }
    std::shared_ptr<StuckAgent> agent;
    std::shared_ptr<TallydConnection> connection;
};

TEST_F(LiveStream, aClientThatDoesNotReadLosesTheNewestAndDisturbsNobody) {
    ServerLimits limits;
    limits.liveQueueRecords = 1000;
    limits.liveMessagesInFlight = 64;
    const auto server = makeTallydServer(service, limits);
    Client reader(*server);
    reader.synchronous()->startSendingLog();
    const StuckClient stuckClient(*server);
    const auto stuck = stuckClient.agent;
    // In pieces that the reader keeps up with.
    for (std::int64_t piece = 0; piece < 100; ++piece) {
        server->publish(recordsFrom(static_cast<std::uint64_t>(1 + piece * 100), 100));
        reader.agent->live.waitFor(static_cast<std::size_t>((piece + 1) * 100));
    }
    EXPECT_EQ(sequences(reader.agent->live.now()), from(1, 10000));
    const std::uint64_t lost = statusOf(reader).liveLost;
    // At most the queue and what was on its way is kept.
    EXPECT_GE(lost, 10000u - 1000u - 64u);
    stuck->goOn.open();
    const auto kept = sequences(stuck->live.waitFor(10000 - lost));
    EXPECT_EQ(kept, from(1, static_cast<std::int64_t>(10000 - lost)));
    // Having caught up it gets what comes next.
    server->publish(recordsFrom(20000, 1));
    EXPECT_EQ(sequences(stuck->live.waitFor(kept.size() + 1)).back(), 20000);
    EXPECT_EQ(statusOf(reader).liveLost, lost);
}

TEST_F(LiveStream, theMoreFollowTheLessIsUnderWayToEach) {
    ServerLimits limits;
    limits.liveQueueRecords = 100;
    limits.liveMessagesInFlight = 64;
    limits.liveMessagesOfAll = 64;
    const auto server = makeTallydServer(service, limits);
    constexpr std::size_t kStuck = 8;
    std::vector<std::unique_ptr<StuckClient>> stuck;
    while (stuck.size() < kStuck)
        stuck.push_back(std::make_unique<StuckClient>(*server));
    server->publish(recordsFrom(1, 1000));
    // Each keeps its queue and its share of what may be under way.
    Client other(*server);
    EXPECT_EQ(statusOf(other).liveLost, kStuck * (1000 - 100));
    server->publish(recordsFrom(1001, 1000));
    EXPECT_EQ(statusOf(other).liveLost, kStuck * (2000 - 100 - 64 / kStuck));
    for (const auto& client : stuck)
        client->agent->goOn.open();
    auto kept = from(1, 100);
    for (const std::int64_t sequence : from(1001, 1008))
        kept.push_back(sequence);
    for (const auto& client : stuck)
        EXPECT_EQ(sequences(client->agent->live.waitFor(kept.size())), kept);
}

TEST_F(LiveStream, anAgentThatIsGoneAndAClientThatLeavesAreNoTrouble) {
    const auto server = makeTallydServer(service);
    Client client(*server);
    client.synchronous()->startSendingLog();
    client.agent.reset();
    server->publish(recordsFrom(1, 2000));
    {
        Client leaving(*server);
        leaving.synchronous()->startSendingLog();
        EXPECT_EQ(statusOf(client).liveClients, 2u);
        server->publish(recordsFrom(2001, 2000));
    }
    while (statusOf(client).clients != 1)
        std::this_thread::yield();
    EXPECT_EQ(statusOf(client).liveClients, 1u);
    EXPECT_EQ(client.errors.now(), std::vector<std::string>{});
}
