// SPDX-License-Identifier: BSD-2-Clause
//
// Every message but the log query: arguments reach the service, replies come back whole, through
// both kinds of proxies; and who may send which.
#include "tests/protocol/FakeDaemon.h"

#include <cstdlib>
#include <ctime>

using namespace brindle;
using namespace brindle::test;
using Texts = std::vector<std::string>;

namespace {

std::vector<CountEntry> manyEntries(std::size_t count) {
    std::vector<CountEntry> entries;
    for (std::size_t i = 0; i < count; ++i)
        entries.push_back({"10.0.0." + std::to_string(i), static_cast<std::int64_t>(count - i),
                           i % 2 == 0, i % 3 == 0});
    return entries;
}

class Requests : public testing::TestWithParam<bool> {
  protected:
    static void SetUpTestSuite() {
        ::setenv("TZ", "UTC-1", 1); // an hour ahead
        ::tzset();
    }
    std::shared_ptr<TallydHelperProtocol> proxyOf(Client& client) const {
        return GetParam() ? client.synchronous() : client.proxy();
    }
};

} // namespace

INSTANTIATE_TEST_SUITE_P(BothProxies, Requests, testing::Bool(), [](const auto& which) {
    return std::string(which.param ? "synchronous" : "asynchronous");
});

TEST_P(Requests, textsComeBackAsTheReaderSeesThem) {
    struct Case {
        std::optional<double> oldest;
        std::uint64_t rows;
        Texts expected;
    };
    const Case cases[]{
        {std::nullopt, 0, {"1.2.3", "", "", "0"}},
        {1700000000.75,
         18446744073709551615u,
         {"1.2.3", "2023/11/14 23:13:20", "2023/11/15 00:13:20", "18446744073709551615"}}};
    for (const Case& expected : cases) {
        FakeService service;
        service.oldest = expected.oldest;
        if (expected.oldest)
            service.newest = *expected.oldest + 3600;
        service.rows = expected.rows;
        const auto server = makeTallydServer(service);
        Client client(*server);
        Inbox<std::string> replies;
        const auto put = [&](std::string text) { replies.put(std::move(text)); };
        const auto proxy = proxyOf(client);
        proxy->getVersionWithReply(put);
        replies.waitFor(1); // answers of an asynchronous proxy may overtake each other
        proxy->getOldestRecordDateWithReply(put);
        replies.waitFor(2);
        proxy->getNewestRecordDateWithReply(put);
        replies.waitFor(3);
        proxy->getRowsCountWithReply(put);
        EXPECT_EQ(replies.waitFor(4), expected.expected);
        EXPECT_EQ(client.errors.now(), Texts{});
    }
}

TEST_P(Requests, countsArriveWholeWhateverTheirNumber) {
    for (const std::size_t count : {0u, 1u, 16384u, 40000u}) {
        FakeService service;
        Inbox<std::string> asked;
        const CountReply counts{manyEntries(count), 77};
        const BreakdownReply breakdown{manyEntries(count), manyEntries(count / 2), 78};
        service.onCount = [&](const std::string& what) {
            asked.put(what);
            return counts;
        };
        service.onBreakdown = [&](const std::string& what) {
            asked.put(what);
            return breakdown;
        };
        const auto server = makeTallydServer(service);
        Client client(*server);
        const auto proxy = proxyOf(client);
        Inbox<CountReply> countReplies;
        Inbox<BreakdownReply> breakdowns;
        const auto put = [&](BreakdownReply reply) { breakdowns.put(std::move(reply)); };
        proxy->getOBJcontWithEpoch(5, "block", "out", "SRCIP",
                                   [&](CountReply reply) { countReplies.put(std::move(reply)); });
        ASSERT_EQ(countReplies.waitFor(1).size(), 1u);
        EXPECT_EQ(countReplies.now()[0].entries, counts.entries);
        EXPECT_EQ(countReplies.now()[0].sequence, 77u);
        proxy->getPORTfromIPcontWithEpoch(6, "2001:db8::1", "pass", "in", put);
        breakdowns.waitFor(1);
        proxy->getIPfromPORTcontWithEpoch(7, 443, "block", "in", put);
        for (const BreakdownReply& reply : breakdowns.waitFor(2)) {
            EXPECT_EQ(reply.entries, breakdown.entries);
            EXPECT_EQ(reply.pie, breakdown.pie);
            EXPECT_EQ(reply.sequence, 78u);
        }
        EXPECT_EQ(asked.now(),
                  (Texts{"5 SRCIP block out", "6 2001:db8::1 pass in", "7 443 block in"}));
    }
}

TEST_P(Requests, statusCarriesEveryFigure) {
    FakeService service;
    service.figures = {.received = 10,
                       .stored = 7,
                       .lost = {{"cut short", 1}, {"queue full", 2}},
                       .rows = 1000,
                       .storeBytes = 4096,
                       .oldest = 1.5,
                       .newest = std::nullopt,
                       .clients = 99,
                       .liveClients = 99,
                       .liveLost = 99,
                       .sources = {{"replay:/a@10", "running", 10, 7, {{"cut short", 3}}}, {}}};
    const auto server = makeTallydServer(service);
    Client client(*server);
    Client other(*server);
    other.synchronous()->startSendingLog();
    Inbox<DaemonStatus> replies;
    proxyOf(client)->getStatusWithReply([&](DaemonStatus status) { replies.put(status); });
    ASSERT_EQ(replies.waitFor(1).size(), 1u);
    const DaemonStatus status = replies.now()[0];
    EXPECT_EQ(status.received, 10u);
    EXPECT_EQ(status.stored, 7u);
    EXPECT_EQ(status.lost, service.figures.lost);
    EXPECT_EQ(status.rows, 1000u);
    EXPECT_EQ(status.storeBytes, 4096u);
    EXPECT_EQ(status.oldest, 1.5);
    EXPECT_EQ(status.newest, std::nullopt);
    ASSERT_EQ(status.sources.size(), 2u);
    EXPECT_EQ(status.sources[0].name, "replay:/a@10");
    EXPECT_EQ(status.sources[0].state, "running");
    EXPECT_EQ(status.sources[0].received, 10u);
    EXPECT_EQ(status.sources[0].stored, 7u);
    EXPECT_EQ(status.sources[0].lost, service.figures.sources[0].lost);
    // The server's own figures, whatever the service says.
    EXPECT_EQ(status.clients, 2u);
    EXPECT_EQ(status.liveClients, 1u);
    EXPECT_EQ(status.liveLost, 0u);
}

TEST_P(Requests, aStatusWithoutEndIsRefused) {
    FakeService service;
    SourceStatus source;
    for (int i = 0; i <= 10'000; ++i)
        source.lost["reason " + std::to_string(i)] = 1;
    service.figures.sources = {{}, source};
    const auto server = makeTallydServer(service);
    Client client(*server);
    proxyOf(client)->getStatusWithReply([](const DaemonStatus&) { ADD_FAILURE(); });
    EXPECT_EQ(client.errors.waitFor(1), Texts{"tallyd sent a malformed status"});
}

TEST_P(Requests, whoMayReadOnlyIsToldSoWhenChangingThings) {
    const PeerAccess reader{true, false, {}, "user anna may not"};
    const PeerAccess nobody{false, false, "user bob may not read", "user bob may not"};
    struct Case {
        PeerAccess access;
        Texts errors; ///< of getVersion, startSendingLog, purge, ports arrays, the log query
        std::size_t purged;
    };
    const std::string refused = "the daemon refused: ";
    const Case cases[]{
        {fullAccess(), {}, 1},
        {reader, {refused + reader.manageRefusal, refused + reader.manageRefusal}, 0},
        {nobody, Texts(5, refused + nobody.refusal), 0}};
    for (const Case& expected : cases) {
        FakeService service;
        const auto server = makeTallydServer(service);
        Client client(*server, expected.access);
        const auto proxy = proxyOf(client);
        proxy->getVersionWithReply([](auto) {});
        proxy->startSendingLog();
        proxy->purgeLogDBWithEndDate(12.5);
        proxy->sendPortsArraysWithPassin({"80"}, {}, {"1", "2"}, {});
        QueryEvents query;
        proxy->doQueryFromEpochFrom(0, 1, query.reply());
        if (expected.access.mayRead) {
            EXPECT_EQ(query.events.waitFor(1), (Texts{"end"}));
        }
        EXPECT_EQ(client.errors.waitFor(expected.errors.size()), expected.errors);
        EXPECT_EQ(service.purged.now(), std::vector<double>(expected.purged, 12.5));
    }
}
