// SPDX-License-Identifier: BSD-2-Clause
#include "tests/protocol/FakeDaemon.h"

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
