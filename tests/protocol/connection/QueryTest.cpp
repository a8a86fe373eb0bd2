// SPDX-License-Identifier: BSD-2-Clause
//
// Log queries from the proxy to the service's cursor and back.
#include "tests/protocol/FakeDaemon.h"

#include <algorithm>

using namespace brindle;
using namespace brindle::test;
using Events = std::vector<std::string>;

TEST(LogQuery, batchesArriveInOrderAndWholeThenTheOneEnd) {
    FakeService service;
    const std::vector pages{batchOf(3, 1700000000.25), batchOf(RecordBatch::kMaxRows), batchOf(1)};
    service.onQuery = [&](double from, double to) -> FakeService::Cursor {
        EXPECT_EQ(from, 1.5);
        EXPECT_EQ(to, 2.25);
        return cursorOf(pages);
    };
    const auto server = makeTallydServer(service);
    QueryEvents query;
    Client client(*server);
    client.proxy()->doQueryFromEpochFrom(1.5, 2.25, query.reply());
    EXPECT_EQ(query.events.waitFor(4), (Events{"batch 3", "batch 8192", "batch 1", "end"}));
    const auto received = query.batches.now();
    ASSERT_EQ(received.size(), pages.size());
    for (std::size_t i = 0; i < pages.size(); ++i) {
        EXPECT_TRUE(std::ranges::equal(received[i]->rows(), pages[i]->rows()));
        EXPECT_EQ(received[i]->characters(), pages[i]->characters());
        EXPECT_TRUE(std::ranges::equal(received[i]->textEnds(), pages[i]->textEnds()));
    }
    EXPECT_EQ(client.errors.now(), Events{});
}

TEST(LogQuery, emptyPagesAreSkippedAndAnEmptyAnswerIsOnlyAnEnd) {
    const std::vector<std::pair<std::vector<std::shared_ptr<const RecordBatch>>, Events>> cases{
        {{}, {"end"}},
        {{batchOf(0)}, {"end"}},
        {{batchOf(0), batchOf(2), batchOf(0), batchOf(1)}, {"batch 2", "batch 1", "end"}}};
    for (const auto& [pages, expected] : cases) {
        FakeService service;
        service.onQuery = [&pages = pages](double, double) { return cursorOf(pages); };
        const auto server = makeTallydServer(service);
        QueryEvents query;
        Client client(*server);
        client.synchronous()->doQueryFromEpochFrom(0, 1, query.reply());
        EXPECT_EQ(query.events.waitFor(expected.size()), expected);
    }
}

TEST(LogQuery, anAnswerThatBreaksOffEndsInOneErrorAndNoEnd) {
    FakeService service;
    service.onQuery = [](double from, double) -> FakeService::Cursor {
        if (from == 0)
            return tl::unexpected(std::string("the period is not one"));
        return cursorOf({batchOf(2)}, "the store's file\nis gone");
    };
    const auto server = makeTallydServer(service);
    QueryEvents query;
    Client client(*server);
    client.proxy()->doQueryFromEpochFrom(0, 1, query.reply());
    EXPECT_EQ(client.errors.waitFor(1), (Events{"the daemon refused: the period is not one"}));
    client.proxy()->doQueryFromEpochFrom(1, 2, query.reply());
    EXPECT_EQ(client.errors.waitFor(2).back(), "the daemon refused: the store's file is gone");
    // An answer that follows comes after anything that was still due.
    client.synchronous()->startSendingLog();
    EXPECT_EQ(query.events.now(), (Events{"batch 2"}));
    EXPECT_EQ(client.errors.now().size(), 2u);
}

TEST(LogQuery, aServiceThatThrowsFailsTheRequestAlone) {
    FakeService service;
    service.onVersion = []() -> std::string { throw std::runtime_error("out of order"); };
    const auto server = makeTallydServer(service);
    Client client(*server);
    client.proxy()->getVersionWithReply([](auto) { ADD_FAILURE() << "no version was given"; });
    EXPECT_EQ(client.errors.waitFor(1),
              (Events{"the daemon refused: tallyd failed: out of order"}));
    Inbox<std::string> rows;
    client.proxy()->getRowsCountWithReply([&](std::string text) { rows.put(text); });
    EXPECT_EQ(rows.waitFor(1), (Events{"0"}));
}

/// A query over pages without end; `closed` opens when its cursor is gone.
class EndlessQuery : public testing::Test {
  protected:
    EndlessQuery() {
        service.onQuery = [this](double, double) -> FakeService::Cursor {
            return std::make_unique<FunctionCursor>(
                [this, page = batchOf(4096)]() -> NextPage {
                    ++pulled;
                    return page;
                },
                closed);
        };
    }
    FakeService service;
    std::shared_ptr<Gate> closed = std::make_shared<Gate>();
    std::atomic<int> pulled{0};
    std::unique_ptr<TallydServer> server = makeTallydServer(service);
};

TEST_F(EndlessQuery, cancelStopsTheCursorAndEverythingElseGoesOn) {
    Client client(*server);
    Inbox<int> batches;
    std::atomic<bool> cancelled{false};
    const auto query = client.proxy()->doQueryFromEpochFrom(
        0, 1,
        {[&](auto) {
             EXPECT_FALSE(cancelled) << "a callback started after cancel had returned";
             batches.put(0);
         },
         [] { ADD_FAILURE() << "an endless answer ended"; }});
    ASSERT_FALSE(batches.waitFor(3).empty());
    query->cancel();
    cancelled = true;
    EXPECT_TRUE(closed->wait());
    query->cancel();
    Inbox<std::string> version;
    client.synchronous()->getVersionWithReply([&](std::string text) { version.put(text); });
    EXPECT_EQ(version.now(), (Events{"1.2.3"}));
    EXPECT_EQ(client.errors.now(), Events{});
}

TEST_F(EndlessQuery, cancelFromWithinABatchIsTheLastThatIsHeardOfIt) {
    Client client(*server);
    Inbox<int> batches;
    std::promise<std::shared_ptr<RunningQuery>> handle;
    auto query = handle.get_future();
    handle.set_value(client.proxy()->doQueryFromEpochFrom(0, 1,
                                                          {[&](auto) {
                                                               batches.put(0);
                                                               query.get()->cancel();
                                                           },
                                                           [] { ADD_FAILURE(); }}));
    EXPECT_TRUE(closed->wait());
    EXPECT_EQ(batches.now().size(), 1u);
    EXPECT_EQ(client.errors.now(), Events{});
}

TEST_F(EndlessQuery, cancelDoesNotWaitForABatchThatWaitsForTheCanceller) {
    Client client(*server);
    Gate inBatch;
    Gate mayLeave;
    const auto query = client.proxy()->doQueryFromEpochFrom(0, 1,
                                                            {[&](auto) {
                                                                 inBatch.open();
                                                                 EXPECT_TRUE(mayLeave.wait());
                                                             },
                                                             [] { ADD_FAILURE(); }});
    ASSERT_TRUE(inBatch.wait());
    query->cancel();
    mayLeave.open();
    EXPECT_TRUE(closed->wait());
}

TEST_F(EndlessQuery, aClientThatGoesTakesItsQueriesAlong) {
    {
        Client client(*server);
        Inbox<int> batches;
        client.proxy()->doQueryFromEpochFrom(0, 1, {[&](auto) { batches.put(0); }, [] {}});
        ASSERT_FALSE(batches.waitFor(1).empty());
        client.connection.reset();
        EXPECT_EQ(client.errors.now().size(), 1u);
    }
    EXPECT_TRUE(closed->wait());
}

TEST_F(EndlessQuery, aReaderThatPausesHoldsTheCursorBack) {
    Client client(*server);
    Gate mayGoOn;
    Inbox<int> batches;
    const auto query = client.proxy()->doQueryFromEpochFrom(0, 1,
                                                            {[&](auto) {
                                                                 batches.put(0);
                                                                 mayGoOn.wait();
                                                             },
                                                             [] {}});
    ASSERT_FALSE(batches.waitFor(1).empty());
    // What the sockets and the flow control let through, then nothing more: a count that stands
    // still while another client is served all along.
    Client other(*server);
    int before = -1;
    for (int still = 0; still < 20;) {
        other.synchronous()->startSendingLog();
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        still = pulled == before ? still + 1 : 0;
        before = pulled;
        ASSERT_LT(before, 1000) << "the cursor runs on while nobody reads";
    }
    EXPECT_EQ(batches.now().size(), 1u);
    query->cancel();
    mayGoOn.open();
    EXPECT_TRUE(closed->wait());
}

TEST_F(EndlessQuery, oneQueryTooManyIsRefusedAndTheOthersGoOn) {
    ServerLimits limits;
    limits.queriesPerConnection = 2;
    const auto small = makeTallydServer(service, limits);
    Client client(*small);
    Inbox<int> first;
    Inbox<int> second;
    const auto one =
        client.proxy()->doQueryFromEpochFrom(0, 1, {[&](auto) { first.put(0); }, [] {}});
    const auto two =
        client.proxy()->doQueryFromEpochFrom(0, 1, {[&](auto) { second.put(0); }, [] {}});
    ASSERT_FALSE(second.waitFor(1).empty());
    client.proxy()->doQueryFromEpochFrom(0, 1, {[](auto) { ADD_FAILURE(); }, [] {}});
    EXPECT_EQ(client.errors.waitFor(1),
              (Events{"the daemon refused: too many log queries at once on this connection"}));
    EXPECT_GT(first.waitFor(first.now().size() + 1).size(), 0u);
    one->cancel();
    ASSERT_TRUE(closed->wait());
    // There is room again once the cancelled one is gone.
    client.synchronous()->startSendingLog();
    Inbox<int> third;
    const auto three =
        client.proxy()->doQueryFromEpochFrom(0, 1, {[&](auto) { third.put(0); }, [] {}});
    EXPECT_FALSE(third.waitFor(1).empty());
    two->cancel();
    three->cancel();
}
