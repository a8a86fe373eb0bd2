// SPDX-License-Identifier: BSD-2-Clause
#include "tests/app/support/LogsWindowTest.h"

#include <QApplication>
#include <QClipboard>
#include <QDateTimeEdit>
#include <QLabel>
#include <QMenu>
#include <QPushButton>
#include <QScrollBar>
#include <QToolButton>

namespace brindle::test {
namespace {

using testing::Test;
using Texts = std::vector<std::string>;

TEST_F(LogsWindowTest, OpeningStreamsAndShowsFiveRowsOfTodayThatAreNotExcluded) {
    exclusions.sources = {"10.0.0.2"};
    open();
    EXPECT_EQ(daemon.messages, Texts{"startSendingLog"});
    ASSERT_EQ(daemon.queries.size(), 1u);
    std::vector<Sample> today;
    for (int i = 1; i <= 9; ++i) {
        today.push_back({.src = "10.0.0." + std::to_string(i)});
    }
    answer(today);
    EXPECT_EQ(sources(), (Texts{"10.0.0.1", "10.0.0.3", "10.0.0.4", "10.0.0.5", "10.0.0.6"}));
    EXPECT_TRUE(daemon.lastQuery().cancelled) << "the rest of the day is still being sent";
    EXPECT_EQ(controller->window()->windowTitle(), "PF Realtime Log");
}

TEST_F(LogsWindowTest, PeriodMenuSetsTitleDateControlsAndQuery) {
    open();
    answer({});
    const auto dateControls = {"pickerfrom", "pickerto", "labelfrom", "labelto", "queryBtn"};
    struct Case {
        int index;
        const char* title;
        bool dates;
        std::size_t queries; ///< that the choice adds
        double span;         ///< seconds asked for; 0: from midnight
    };
    for (const Case& each :
         {Case{3, "PF Log", true, 0, 0}, Case{1, "PF Log", false, 1, 0},
          Case{2, "PF Log", false, 1, 604800}, Case{0, "PF Realtime Log", false, 1, 0}}) {
        SCOPED_TRACE(each.index);
        const std::size_t before = daemon.queries.size();
        choosePeriod(each.index);
        EXPECT_EQ(child<QComboBox>("popup")->currentIndex(), each.index);
        EXPECT_EQ(controller->window()->windowTitle(), each.title);
        for (const char* name : dateControls) {
            EXPECT_EQ(child<QWidget>(name)->isVisible(), each.dates) << name;
        }
        ASSERT_EQ(daemon.queries.size() - before, each.queries);
        if (each.queries == 1) {
            const FakeQuery& query = daemon.lastQuery();
            const double midnight = std::floor(query.to / 86400) * 86400; // the zone is UTC
            EXPECT_DOUBLE_EQ(query.from, each.span > 0 ? query.to - each.span : midnight);
        }
    }
}

TEST_F(LogsWindowTest, QueryButtonSendsTheDatesAsTheyStandAndWritesThem) {
    open();
    answer({});
    choosePeriod(3);
    child<QDateTimeEdit>("pickerfrom")->setDateTime(QDateTime::fromMSecsSinceEpoch(1700000000500));
    child<QDateTimeEdit>("pickerto")->setDateTime(QDateTime::fromMSecsSinceEpoch(1600000000000));
    QTest::mouseClick(child<QPushButton>("queryBtn"), Qt::LeftButton);
    ASSERT_EQ(daemon.queries.size(), 2u);
    EXPECT_DOUBLE_EQ(daemon.lastQuery().from, 1700000000.5);
    EXPECT_DOUBLE_EQ(daemon.lastQuery().to, 1600000000);
    EXPECT_EQ(console.back(), "query from 1700000000.5 to 1600000000.0");
}

TEST_F(LogsWindowTest, PeriodShowsEveryRowExcludedOnesIncluded) {
    exclusions.sources = {"10.0.0.2"};
    open();
    answer({});
    choosePeriod(2);
    std::vector<Sample> week(1500, Sample{.src = "10.0.0.2"});
    answer(week);
    EXPECT_EQ(rows(), 1500);
}

TEST_F(LogsWindowTest, LiveTableKeepsTheNewestThousandOnTop) {
    open();
    answer({{.src = "10.9.9.9"}});
    for (int i = 0; i < 1003; ++i) {
        context.helper->realTimeLogWithInfo(liveOf({.src = "10.1.0." + std::to_string(i)}));
        if (i % 500 == 499) {
            QTest::qWait(1); // LiveFeed keeps no more than a thousand waiting
        }
    }
    ASSERT_TRUE(until([&] { return rows() > 0 && cell(0, LogColumn::source) == "10.1.0.1002"; }));
    EXPECT_EQ(rows(), 1000);
    EXPECT_EQ(cell(999, LogColumn::source), "10.1.0.3");
}

TEST_F(LogsWindowTest, LiveRecordsStayOutOfAPeriod) {
    open();
    answer({});
    context.helper->realTimeLogWithInfo(liveOf({.src = "10.1.0.1"}));
    choosePeriod(1);
    context.helper->realTimeLogWithInfo(liveOf({.src = "10.1.0.2"}));
    answer({{.src = "10.2.0.1"}});
    QTest::qWait(100);
    EXPECT_EQ(sources(), Texts{"10.2.0.1"});
}

TEST_F(LogsWindowTest, RefillLimitIsTheRowCountAndNoneTakesTheWholeAnswer) {
    open();
    // While the first answer is on its way a refill asks for as much as that fill.
    EXPECT_EQ(view().rowCount(), 5);
    answer({{}, {}});
    EXPECT_EQ(view().rowCount(), 2);
    view().queryLogs(LogsMode::live, {}, {}, view().rowCount());
    answer({{}, {}, {}});
    EXPECT_EQ(rows(), 2);
    view().queryLogs(LogsMode::live, {}, {}, 0);
    answer(std::vector<Sample>(40));
    EXPECT_EQ(rows(), 40);
}

TEST_F(LogsWindowTest, FilterAppliesAgainAfterAnyAnswer) {
    open();
    answer({{.src = "10.0.0.1"}, {.src = "10.0.0.2"}});
    QTest::keyClicks(child<QLineEdit>("search"), "src:10.0.0.2");
    ASSERT_TRUE(until([&] { return sources() == Texts{"10.0.0.2"}; }));

    choosePeriod(1);
    answer({{.src = "10.0.0.2"}, {.src = "10.0.0.3"}, {.src = "10.0.0.2"}});
    EXPECT_TRUE(until([&] { return sources() == (Texts{"10.0.0.2", "10.0.0.2"}); }));

    choosePeriod(0);
    answer({});
    context.helper->realTimeLogWithInfo(liveOf({.src = "10.0.0.3"}));
    context.helper->realTimeLogWithInfo(liveOf({.src = "10.0.0.2"}));
    EXPECT_TRUE(until([&] { return sources() == Texts{"10.0.0.2"}; })) << "after an empty answer";
    EXPECT_EQ(child<QLineEdit>("search")->text(), "src:10.0.0.2");
}

TEST_F(LogsWindowTest, MistakenFilterIsExplainedAndRowsStay) {
    open();
    answer({{.src = "10.0.0.1"}});
    QApplication::clipboard()->setText("nosuch:field");
    QTest::keySequence(child<QLineEdit>("search"), QKeySequence::Paste);
    auto* sentence = child<QLabel>("filterMistake");
    ASSERT_TRUE(until([&] { return sentence->isVisible(); }));
    EXPECT_FALSE(sentence->text().isEmpty());
    EXPECT_EQ(rows(), 1);
    child<QLineEdit>("search")->clear();
    EXPECT_TRUE(until([&] { return !sentence->isVisible(); }));
}

TEST_F(LogsWindowTest, BrokenAnswerWithdrawsItsRowsAndWritesOneLine) {
    open();
    answer({});
    choosePeriod(1);
    console.clear();
    FakeQuery& query = daemon.lastQuery();
    query.answer(batchOf({{.src = "10.0.0.1"}, {.src = "10.0.0.2"}}));
    ASSERT_TRUE(until([&] { return view().status().rows == 2; }));
    query.failed("the connection broke");
    ASSERT_TRUE(until([&] { return view().status().rows == 0; }));
    settle();
    EXPECT_EQ(rows(), 0);
    EXPECT_EQ(console, Texts{"Brindle XPC Error: the connection broke"});
}

TEST_F(LogsWindowTest, StoppedAnswerKeepsItsRowsAndAsksNoMore) {
    open();
    answer({});
    choosePeriod(1);
    daemon.lastQuery().answer(batchOf({{}, {}, {}}));
    auto* stop = child<QToolButton>("stop");
    ASSERT_TRUE(until([&] { return stop->isVisible() && view().status().rows == 3; }));
    QTest::mouseClick(stop, Qt::LeftButton);
    EXPECT_TRUE(daemon.lastQuery().cancelled);
    ASSERT_TRUE(until([&] { return !stop->isVisible(); }));
    EXPECT_EQ(rows(), 3);
}

TEST_F(LogsWindowTest, OlderAnswerGoesIntoTheNewerQuerysTable) {
    open();
    answer({});
    choosePeriod(1);
    const auto older = daemon.queries.back();
    choosePeriod(2);
    EXPECT_FALSE(older->cancelled);
    answer({{.src = "10.0.0.2"}});
    older->answer(batchOf({{.src = "10.0.0.1"}}));
    older->end();
    EXPECT_TRUE(until([&] { return sources() == (Texts{"10.0.0.2", "10.0.0.1"}); }));
}

TEST_F(LogsWindowTest, CopyingAndBlackListingTakeTheSelectedRowsInTheirOrder) {
    open();
    answer({{.src = "10.0.0.1", .dst = "10.8.0.1"},
            {.src = "10.0.0.2", .dst = "10.8.0.2"},
            {.src = "10.0.0.1", .dst = "10.8.0.2"}});
    console.clear();
    QClipboard* clipboard = QApplication::clipboard();
    select({2, 1, 0});
    QTest::keyClick(&table(), Qt::Key_C, Qt::ControlModifier | Qt::ShiftModifier);
    EXPECT_EQ(clipboard->text(), "10.0.0.1\n10.0.0.2\n10.0.0.1");
    QTest::keyClick(&table(), Qt::Key_C, Qt::ControlModifier | Qt::AltModifier);
    EXPECT_EQ(clipboard->text(), "10.8.0.1\n10.8.0.2\n10.8.0.2");
    EXPECT_EQ(console, (Texts{"copied 3 src addresses", "copied 3 dst addresses"}));

    QTest::keyClick(&table(), Qt::Key_B, Qt::ControlModifier | Qt::ShiftModifier);
    EXPECT_EQ(link.blackLists, (std::vector<Texts>{{"10.8.0.1", "10.8.0.2"}}));

    table().clearSelection();
    view().copySrcAddresses();
    EXPECT_EQ(clipboard->text(), "");
    EXPECT_EQ(console.back(), "copied 0 src addresses");
}

TEST_F(LogsWindowTest, ExclusionMenuOffersSixEntriesOfTheFirstSelectedRow) {
    open();
    answer({{.src = "192.0.2.9", .dst = "198.51.100.7", .srcport = 1000, .dstport = 443},
            {.src = "2001:db8::5", .dst = "2001:db8:1:2:3::9"}});
    auto entries = [&] {
        QMenu menu;
        view().menuWillOpen(&menu);
        std::vector<std::pair<std::string, VDXExclusion>> found;
        for (const QAction* item : menu.actions()) {
            found.emplace_back(item->text().toStdString(), item->data().value<VDXExclusion>());
        }
        return found;
    };
    EXPECT_TRUE(entries().empty());
    select({0});
    const std::vector<std::pair<std::string, VDXExclusion>> v4{
        {"Ignore Address 192.0.2.9", {"ip", "192.0.2.9", {}, {}, 4}},
        {"Ignore Subnet 192.0.2.0/24", {"cidr", "192.0.2.0/24", "192.0.2.0", "192.0.2.255", 4}},
        {"Ignore Address 198.51.100.7", {"ip", "198.51.100.7", {}, {}, 4}},
        {"Ignore Subnet 198.51.100.0/24",
         {"cidr", "198.51.100.0/24", "198.51.100.0", "198.51.100.255", 4}},
        {"Ignore Port 443", {"port", "443", {}, {}, 4}},
        {"Ignore Port 1000", {"port", "1000", {}, {}, 4}}};
    EXPECT_EQ(entries(), v4);
    select({1});
    const auto v6 = entries();
    ASSERT_EQ(v6.size(), 6u);
    EXPECT_EQ(v6[3].first, "Ignore Subnet 2001:db8:1:2::/64");
    EXPECT_EQ(v6[3].second, VDXExclusion("cidr", "2001:db8:1:2::/64",
                                         "2001:db8:1:2::", "2001:db8:1:2:ffff:ffff:ffff:ffff", 6));

    QMenu menu;
    view().menuWillOpen(&menu);
    menu.actions()[1]->trigger();
    ASSERT_EQ(exclusions.added.size(), 1u);
    EXPECT_EQ(exclusions.added[0].exclusion, "2001:db8::/64");
}

TEST_F(LogsWindowTest, TwoClicksOnAListButtonMakeOneWindow) {
    open();
    auto* button = child<QToolButton>("blockoutBtn");
    QTest::mouseClick(button, Qt::LeftButton);
    QTest::mouseClick(button, Qt::LeftButton);
    ASSERT_EQ(lists.size(), 1u);
    EXPECT_EQ(lists[0].action + lists[0].direction + lists[0].name, "blockoutblockout");
    EXPECT_EQ(listWindow->presented, 2);
}

TEST_F(LogsWindowTest, ClosingLeavesTheRegistriesThenStopsTheStream) {
    open();
    ViewEntry* const none = nullptr;
    daemon.messages.clear();
    controller->window()->close();
    EXPECT_EQ(daemon.messages, Texts{"stopSendingLog"});
    EXPECT_EQ(viewControllers.find("logs").get(), none);
    EXPECT_EQ(windowControllers.find("logs"), nullptr);
    EXPECT_TRUE(daemon.lastQuery().cancelled);
}

TEST_F(LogsWindowTest, RowsTheUserLooksAtStayWhileOthersArriveAbove) {
    open();
    std::vector<Sample> many(300);
    for (int i = 0; i < 300; ++i) {
        many[static_cast<std::size_t>(i)].src = "10.3.0." + std::to_string(i);
    }
    view().queryLogs(LogsMode::live, {}, {}, 0);
    answer(many);
    table().verticalScrollBar()->setValue(50);
    const std::string looked = cell(table().rowAt(2), LogColumn::source);
    for (int i = 0; i < 7; ++i) {
        context.helper->realTimeLogWithInfo(liveOf({.src = "10.4.0.1"}));
    }
    ASSERT_TRUE(until([&] { return rows() == 307; }));
    EXPECT_EQ(cell(table().rowAt(2), LogColumn::source), looked);

    table().verticalScrollBar()->setValue(0);
    context.helper->realTimeLogWithInfo(liveOf({.src = "10.4.0.2"}));
    ASSERT_TRUE(until([&] { return rows() == 308; }));
    EXPECT_EQ(cell(table().rowAt(2), LogColumn::source), "10.4.0.2") << "the top does not follow";
}

TEST_F(LogsWindowTest, WithoutADaemonNothingIsShownButThatItIsMissing) {
    daemon.reachable = false;
    open();
    EXPECT_EQ(rows(), 0);
    EXPECT_TRUE(
        until([&] { return child<QLabel>("statusText")->text().contains("disconnected"); }));
    EXPECT_FALSE(table().emptyText().isEmpty());
}

TEST_F(LogsWindowTest, WhatTheDaemonLostAndWhatItWaitsForStandsInTheStatusBar) {
    daemon.status.rows = 1500;
    daemon.status.lost = {{"queue full", 12}, {"not a packet's line", 2}};
    daemon.status.liveLost = 1;
    daemon.status.sources.resize(2);
    daemon.status.sources[0].name = "nflog:5";
    daemon.status.sources[0].state = "waiting: the group is taken";
    daemon.status.sources[1].name = "nflog:6";
    daemon.status.sources[1].state = "running";
    open();
    const auto* text = child<QLabel>("statusText");
    EXPECT_TRUE(until([&] {
        return text->text().endsWith("stored 1,500 · lost 15 (queue full) · 1 source waits");
    })) << text->text().toStdString();
    EXPECT_EQ(text->toolTip(), "Lost: 2, not a packet's line\n"
                               "Lost: 1, not taken in time by a viewer\n"
                               "Lost: 12, queue full\n"
                               "nflog:5 waiting: the group is taken");
}

} // namespace
} // namespace brindle::test
