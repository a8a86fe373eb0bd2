// SPDX-License-Identifier: BSD-2-Clause
#include "core/log/Reconnection.h"

#include "core/log/ViewRefresh.h"

#include "tests/app/support/FakeDaemon.h"
#include "tests/core/support/FakeNames.h"
#include "tests/core/support/ManualQueue.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace brindle {
namespace {

class ReconnectionTest : public testing::Test {
  protected:
    void breakOff() {
        helper->daemonConnection()->invalidate();
        main->run();
    }
    /// Looks that were made while `seconds` passed.
    int looksWithin(int seconds) {
        looks = 0;
        for (int i = 0; i < 4 * seconds; ++i) {
            timers.advance(0.25);
            main->run();
        }
        return looks;
    }

    std::shared_ptr<ManualQueue> main = std::make_shared<ManualQueue>();
    test::FakeDaemon daemon;
    ViewControllers views;
    std::shared_ptr<BrindleHelper> helper = BrindleHelper::create(
        [this](std::weak_ptr<TallydAgentProtocol>) {
            return std::make_shared<test::FakeConnection>(daemon);
        },
        main, views, nullptr, [](const std::string&) {});
    FakeTimers timers;
    bool answers = true;
    int looks = 0;
    int refreshes = 0;
    Reconnection reconnection{*helper,
                              timers,
                              {.daemonAnswers =
                                   [this] {
                                       ++looks;
                                       return answers;
                                   },
                               .showWhatWasMissed = [this] { ++refreshes; }}};
};

TEST_F(ReconnectionTest, ADaemonThatWentAwayIsFoundAgainAndItsViewsAreRefreshedOnce) {
    helper->daemonConnection();
    EXPECT_EQ(looksWithin(30), 0);
    answers = false;
    breakOff();
    EXPECT_EQ(looksWithin(5), 5);
    EXPECT_EQ(helper->standingConnection(), nullptr);
    EXPECT_EQ(refreshes, 0) << "there is nothing to show yet";
    answers = true;
    EXPECT_EQ(looksWithin(5), 1);
    EXPECT_NE(helper->standingConnection(), nullptr);
    EXPECT_EQ(refreshes, 1);
}

TEST_F(ReconnectionTest, ADaemonThatComesLaterThanTheViewerIsFound) {
    answers = false;
    EXPECT_GT(looksWithin(3), 1);
    answers = true;
    looksWithin(2);
    EXPECT_EQ(refreshes, 1);
}

TEST_F(ReconnectionTest, WhoAsksFirstConnectsAndTheViewsAreRefreshedAllTheSame) {
    helper->daemonConnection();
    main->run();
    breakOff();
    helper->daemonConnection();
    main->run();
    EXPECT_EQ(refreshes, 1);
    EXPECT_EQ(looksWithin(30), 0);
}

TEST_F(ReconnectionTest, ConnectionsThatDoNotLastAreTriedLessAndLess) {
    helper->daemonConnection();
    main->run();
    int tries = 0;
    for (int second = 0; second < 120; ++second) {
        if (helper->standingConnection())
            breakOff();
        tries += looksWithin(1);
    }
    EXPECT_GE(tries, 4);
    EXPECT_LE(tries, 8) << "1, 2, 4 ... 32 seconds apart";

    // One that lasts makes up for them.
    while (!helper->standingConnection())
        looksWithin(1);
    looksWithin(11);
    breakOff();
    EXPECT_EQ(looksWithin(2), 1);
}

struct ShownLogs final : LogsView {
    void queryLogs(LogsMode mode, std::optional<double>, std::optional<double>,
                   std::optional<std::int64_t> limit) override {
        fills.emplace_back(mode, limit);
    }
    void selectLogMode(int) override {}
    void addLiveRecord(const RecordDictionary&) override {}
    std::int64_t rowCount() const override { return rows; }

    std::int64_t rows = 0;
    std::vector<std::pair<LogsMode, std::optional<std::int64_t>>> fills;
};

struct ShownList final : ListView {
    void countLiveRecord(const LiveRecordDictionary&) override {}
    void reloadTallies() override { ++reloads; }
    int reloads = 0;
};

TEST_F(ReconnectionTest, LiveViewsGoOnWithWhatWasLoggedMeanwhileAndAPeriodStays) {
    ShownLogs logs;
    ShownList list;
    const auto logsEntry = std::make_shared<ViewEntry>(&logs);
    const auto listEntry = std::make_shared<ViewEntry>(&list);
    views.set("logs", logsEntry);
    views.set("blockin", listEntry);
    listEntry->needrealtime = true;

    showWhatWasMissed(views, *helper);
    EXPECT_TRUE(logs.fills.empty()) << "a period";
    EXPECT_EQ(list.reloads, 1);
    EXPECT_EQ(daemon.messages, std::vector<std::string>{"startSendingLog"});

    // As many rows as there were; none is not "all of them".
    logsEntry->needrealtime = true;
    showWhatWasMissed(views, *helper);
    logs.rows = 130;
    showWhatWasMissed(views, *helper);
    ASSERT_EQ(logs.fills.size(), 2u);
    EXPECT_EQ(logs.fills[0], std::pair(LogsMode::live, std::optional<std::int64_t>()));
    EXPECT_EQ(logs.fills[1], std::pair(LogsMode::live, std::optional<std::int64_t>(130)));
}

} // namespace
} // namespace brindle
