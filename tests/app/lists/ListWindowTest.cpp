// SPDX-License-Identifier: BSD-2-Clause
//
// List windows over a fake daemon, used as a user does: by mouse, keys and menus.
#include "app/lists/ListWindow.h"
#include "app/lists/OpenStatistics.h"
#include "app/lists/VDXAddressesPortsListViewController.h"
#include "app/lists/VDXAddressesPortsListWindowsController.h"
#include "app/tallies/VDXTableView.h"
#include "tests/app/support/WindowTest.h"
#include "tests/core/support/FakeNames.h"

#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QScrollBar>

namespace brindle::test {
namespace {

using Texts = std::vector<std::string>;
using Controller = VDXAddressesPortsListWindowsController;

class ListWindowTest : public WindowTest {
  protected:
    ListWindowTest() {
        context.periods = {.bootEpoch = 1000, .listsStartEpoch = 1000, .listsPeriod = 0};
        context.tallies.names = {&resolver, &timers};
        context.makeStatisticsWindow = [this](StatisticsOpening opening) {
            statistics.push_back(std::move(opening));
            return std::make_shared<FakeWindow>();
        };
        daemon.counts = [this](const CountRequest& request) {
            CountReply reply;
            reply.entries = request.subject == "DSTPORT" ? ports : addresses;
            return std::optional(reply);
        };
    }
    ~ListWindowTest() override {
        for (const char* name : {"passin", "blockin", "passout", "blockout"}) {
            if (const auto list = windowControllers.find(name)) {
                list->close();
            }
        }
        settle();
    }

    Controller& open(const char* action, const char* direction, const char* name) {
        auto list =
            makeListWindow(context, {.action = action, .direction = direction, .name = name});
        windowControllers.set(name, list);
        list->present();
        auto& controller = static_cast<Controller&>(*list);
        EXPECT_TRUE(QTest::qWaitForWindowActive(controller.window()));
        return controller;
    }
    void openBlockedIn() { window = open("block", "in", "blockin").window(); }

    static CountEntry address(const std::string& label, std::int64_t value) {
        return {.label = label, .value = value, .isIP = true};
    }
    static CountEntry port(const std::string& label, std::int64_t value) {
        return {.label = label, .value = value, .isPort = true};
    }
    VDXTableView& tableview(const char* name = "tableviewIP") {
        return *window->findChild<VDXTableView*>(QLatin1String(name));
    }
    VDXAddressesPortsListViewController& view() {
        return *window->findChild<VDXAddressesPortsListViewController*>();
    }
    static Texts labels(const VDXTableView& table, TallyColumn column) {
        Texts texts;
        for (int row = 0; row < table.model()->rowCount(); ++row) {
            texts.push_back(table.model()
                                ->index(row, table.tallyModel()->sectionOf(column))
                                .data()
                                .toString()
                                .toStdString());
        }
        return texts;
    }
    Texts shownAddresses() { return labels(tableview(), TallyColumn::address); }
    static QPoint placeOf(const VDXTableView& table, int row) {
        return table.visualRect(table.model()->index(row, 1)).center();
    }
    static void select(VDXTableView& table, std::initializer_list<int> rows) {
        table.clearSelection();
        for (const int row : rows) {
            QTest::mouseClick(table.viewport(), Qt::LeftButton, Qt::ControlModifier,
                              placeOf(table, row));
        }
    }
    static std::vector<std::size_t> selected(const VDXTableView& table) {
        return TallyTableModel::rowsOf(table.selectionModel()->selection());
    }
    void live(const Sample& sample) { context.helper->realTimeLogWithInfo(liveOf(sample)); }
    QString text(const char* label) {
        return window->findChild<QLabel*>(QLatin1String(label))->text();
    }

    FakeResolver resolver;
    FakeTimers timers;
    std::vector<CountEntry> addresses{
        {address("203.0.113.7", 900), address("192.0.2.77", 80), address("2001:db8::1", 20)}};
    std::vector<CountEntry> ports{{port("443", 700), port("22", 300)}};
    std::vector<StatisticsOpening> statistics;
    QMainWindow* window = nullptr;
};

TEST_F(ListWindowTest, EachListAsksForItsOwnCountsAndCarriesItsTitle) {
    struct Case {
        const char *action, *direction, *name, *title, *subject;
    };
    const Case cases[]{{"pass", "in", "passin", "Passed Inbound", "SRCIP"},
                       {"block", "in", "blockin", "Blocked Inbound", "SRCIP"},
                       {"pass", "out", "passout", "Passed Outbound", "DSTIP"},
                       {"block", "out", "blockout", "Blocked Outbound", "DSTIP"}};
    for (const Case& one : cases) {
        daemon.countRequests.clear();
        Controller& list = open(one.action, one.direction, one.name);
        EXPECT_EQ(list.window()->windowTitle(), one.title);
        EXPECT_EQ(daemon.countRequests,
                  (std::vector<CountRequest>{{1000, one.subject, one.action, one.direction},
                                             {1000, "DSTPORT", one.action, one.direction}}));
        EXPECT_NE(viewControllers.find(one.name), nullptr);
    }
    EXPECT_EQ(daemon.messages, Texts(4, "startSendingLog"));
}

TEST_F(ListWindowTest, ClosingUnregistersTheListAndStopsTheStream) {
    openBlockedIn();
    const std::weak_ptr<WindowController> controller = windowControllers.find("blockin");
    QTest::keyClick(window, Qt::Key_W, Qt::ControlModifier);
    EXPECT_EQ(viewControllers.find("blockin"), nullptr);
    EXPECT_EQ(windowControllers.find("blockin"), nullptr);
    EXPECT_EQ(daemon.messages, (Texts{"startSendingLog", "stopSendingLog"}));
    EXPECT_TRUE(until([&] { return controller.expired(); }));
}

TEST_F(ListWindowTest, LiveRecordsMoveRowsUpWithTheirSelectionAndScrollingStays) {
    addresses.clear();
    for (int i = 0; i < 200; ++i) {
        addresses.push_back(address("10.0.0." + std::to_string(i), 400 - i));
    }
    openBlockedIn();
    VDXTableView& table = tableview();
    table.scrollTo(table.model()->index(100, 0), QAbstractItemView::PositionAtTop);
    const int scrolled = table.verticalScrollBar()->value();
    ASSERT_GT(scrolled, 0);
    select(table, {101, 103});
    for (int i = 0; i < 150; ++i) {
        live({.src = "10.0.0.103", .action = "block"});
        live({.src = "10.9.9.9", .action = "block", .dstport = 8080});
    }
    live({.src = "10.0.0.1", .action = "pass"});
    ASSERT_TRUE(until([&] {
        return shownAddresses().size() == 201 && shownAddresses().front() == "10.0.0.103";
    }));
    EXPECT_EQ(selected(table), (std::vector<std::size_t>{0, 102}));
    EXPECT_EQ(table.verticalScrollBar()->value(), scrolled);
    EXPECT_EQ(labels(table, TallyColumn::records).front(), "447");
    EXPECT_EQ(labels(tableview("tableviewPORT"), TallyColumn::port), (Texts{"443", "22", "8080"}));
    EXPECT_EQ(text("addressCount"), "201");
}

TEST_F(ListWindowTest, RightClickSelectsByTheRuleOfTheSystemsTables) {
    openBlockedIn();
    for (const char* name : {"tableviewIP", "tableviewPORT"}) {
        VDXTableView& table = tableview(name);
        const auto rightClick = [&](const QPoint& place) {
            QTest::mouseClick(table.viewport(), Qt::RightButton, {}, place);
            QContextMenuEvent event(QContextMenuEvent::Mouse, place,
                                    table.viewport()->mapToGlobal(place));
            QApplication::sendEvent(table.viewport(), &event);
            auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
            ASSERT_NE(menu, nullptr);
            EXPECT_EQ(menu->actions().front()->isEnabled(), table.selectionModel()->hasSelection());
            menu->close();
        };
        rightClick(placeOf(table, 1));
        EXPECT_EQ(selected(table), (std::vector<std::size_t>{1}));
        rightClick(placeOf(table, 0));
        EXPECT_EQ(selected(table), (std::vector<std::size_t>{0}));
        if (table.model()->rowCount() > 2) {
            select(table, {1, 2});
            rightClick(placeOf(table, 0));
            EXPECT_EQ(selected(table), (std::vector<std::size_t>{1, 2}));
        }
        rightClick(QPoint(20, table.viewport()->height() - 5));
        EXPECT_TRUE(selected(table).empty());
    }
}

TEST_F(ListWindowTest, CopyWritesAddressesByLinesAndSaysHowMany) {
    openBlockedIn();
    const auto copied = [&] { return QApplication::clipboard()->text().toStdString(); };
    select(tableview(), {2, 0, 1});
    QTest::keyClick(&tableview(), Qt::Key_C, Qt::ControlModifier);
    EXPECT_EQ(copied(), "203.0.113.7\n192.0.2.77\n2001:db8::1");
    select(tableview(), {1});
    view().copyAddresses();
    EXPECT_EQ(copied(), "192.0.2.77");
    tableview().clearSelection();
    view().copyAddresses();
    EXPECT_EQ(copied(), "");
    EXPECT_EQ(console, (Texts{"copied 3 addresses", "copied 1 addresses", "copied 0 addresses"}));
}

TEST_F(ListWindowTest, SelectedAddressesAreHandedToVardexAsCounted) {
    openBlockedIn();
    select(tableview(), {2, 0});
    view().sendToVardex();
    tableview().clearSelection();
    view().sendToVardex();
    EXPECT_EQ(link.sent, (std::vector<Texts>{{"203.0.113.7", "2001:db8::1"}, {}}));
}

TEST_F(ListWindowTest, PeriodChosenInOneWindowLeavesTheRowsOfAnother) {
    openBlockedIn();
    const double start = static_cast<double>(QDate::currentDate().startOfDay().toSecsSinceEpoch());
    Controller& other = open("pass", "in", "passin");
    daemon.countRequests.clear();
    window->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(window));
    QTest::keyClick(window, Qt::Key_2, Qt::ControlModifier);
    const CountRequest weekAddresses{start - 592200, "SRCIP", "block", "in"};
    ASSERT_EQ(daemon.countRequests.size(), 2u);
    EXPECT_EQ(daemon.countRequests[0], weekAddresses);
    const auto popup = [](QMainWindow* shown) {
        return shown->findChild<QComboBox*>(QStringLiteral("popupButtonSelectSinceLog"));
    };
    EXPECT_EQ(popup(window)->currentIndex(), 1);
    EXPECT_EQ(popup(other.window())->currentIndex(), 0);
    EXPECT_EQ(context.periods.listsStartEpoch, start - 592200);

    // A reload keeps a window's own start and takes over the choice that is shown.
    daemon.countRequests.clear();
    viewControllers.find("passin")->list->reloadTallies();
    EXPECT_EQ(daemon.countRequests[0], (CountRequest{1000, "SRCIP", "pass", "in"}));
    EXPECT_EQ(popup(other.window())->currentIndex(), 1);
    other.window()->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(other.window()));
    QTest::keyClick(popup(other.window()), Qt::Key_Down);
    EXPECT_EQ(daemon.countRequests.back().epoch, start - 2538000);
}

TEST_F(ListWindowTest, DoubleClickResolvesOnceUntilTheDeadline) {
    resolver.known["192.0.2.77"] = *platform::socketAddressData("192.0.2.77");
    openBlockedIn();
    const auto doubleClick = [&] {
        QTest::mouseClick(tableview().viewport(), Qt::LeftButton, {}, placeOf(tableview(), 1));
        QTest::mouseDClick(tableview().viewport(), Qt::LeftButton, {}, placeOf(tableview(), 1));
    };
    doubleClick();
    EXPECT_EQ(resolver.running, 1);
    doubleClick();
    EXPECT_EQ(resolver.completions.size(), 1u);
    timers.advance(10);
    doubleClick();
    EXPECT_EQ(resolver.completions.size(), 2u);
    resolver.take("192.0.2.77");
    resolver.answer("192.0.2.77", {"host.example"});
    settle();
    EXPECT_EQ(shownAddresses()[1], "host.example");
    EXPECT_EQ(tableview().model()->index(1, 1).data(Qt::ToolTipRole), "192.0.2.77");
    select(tableview(), {1});
    view().copyAddresses();
    EXPECT_EQ(QApplication::clipboard()->text(), "192.0.2.77");
}

TEST_F(ListWindowTest, IgnoreMenuOffersTheAddressAndTheBlockAroundIt) {
    openBlockedIn();
    auto* menu = window->findChild<QMenu*>();
    QMenu own;
    menu = &own;
    view().menuWillOpen(menu);
    EXPECT_TRUE(menu->isEmpty());
    struct Case {
        int row;
        VDXExclusion single, block;
    };
    const Case cases[]{
        {1,
         {"ip", "192.0.2.77", {}, {}, 4},
         {"cidr", "192.0.2.0/24", "192.0.2.0", "192.0.2.255", 4}},
        {2,
         {"ip", "2001:db8::1", {}, {}, 6},
         {"cidr", "2001:db8::/64", "2001:db8::", "2001:db8::ffff:ffff:ffff:ffff", 6}}};
    for (const Case& one : cases) {
        select(tableview(), {one.row});
        view().menuWillOpen(menu);
        ASSERT_EQ(menu->actions().size(), 2);
        exclusions.added.clear();
        for (QAction* item : menu->actions()) {
            item->trigger();
        }
        EXPECT_EQ(exclusions.added, (std::vector<VDXExclusion>{one.single, one.block}));
        EXPECT_EQ(menu->actions()[0]->text().toStdString(), one.single.exclusion);
        EXPECT_EQ(menu->actions()[1]->text().toStdString(), one.block.exclusion);
    }
    exclusions.added.clear();
    view().ignore_port();
    EXPECT_TRUE(exclusions.added.empty());
    select(tableview("tableviewPORT"), {1, 0});
    QTest::keyClick(window, Qt::Key_E, Qt::ControlModifier | Qt::ShiftModifier);
    EXPECT_EQ(exclusions.added, (std::vector<VDXExclusion>{{"port", "443", {}, {}, 4}}));
}

TEST_F(ListWindowTest, StatisticsOpenForEachSelectedRowSinceTheSharedStart) {
    context.periods.listsStartEpoch = 5000;
    daemon.breakdown = [](const CountRequest&) {
        return std::optional(BreakdownReply{.entries = {port("53", 4), port("22", 1)},
                                            .pie = {port("53", 4), port("22", 1)}});
    };
    openBlockedIn();
    daemon.countRequests.clear();
    select(tableview(), {0, 2});
    QTest::keyClick(window, Qt::Key_I, Qt::ControlModifier);
    ASSERT_EQ(statistics.size(), 2u);
    EXPECT_EQ(daemon.countRequests,
              (std::vector<CountRequest>{{5000, "203.0.113.7", "block", "in"},
                                         {5000, "2001:db8::1", "block", "in"}}));
    EXPECT_EQ(statistics[1].caption, "IP 2001:db8::1");
    EXPECT_EQ(statistics[1].information.arrayforpiechart, (std::vector<std::int64_t>{4, 1}));
    for (const StatisticsOpening& opening : statistics) {
        EXPECT_EQ(opening.name.substr(0, 5), "logs_");
        EXPECT_NE(windowControllers.find(opening.name), nullptr);
    }
    select(tableview("tableviewPORT"), {0});
    view().showStatisticsPORT();
    EXPECT_EQ(statistics.back().caption, "Port 443");
    EXPECT_EQ(statistics.back().information.obj, "port");

    // The number is taken: that window comes forward and none is made.
    const auto taken = std::make_shared<FakeWindow>();
    windowControllers.set("logs_7", taken);
    openStatistics(context, {VisualizerObj::create({.isIP = true}, "192.0.2.1", 1, nullptr)},
                   InspectedKind::address, "block", "in", [] { return 7u; });
    EXPECT_EQ(taken->presented, 1);
    EXPECT_EQ(statistics.size(), 3u);
}

TEST_F(ListWindowTest, FilterHidesRowsAndFailedRequestsLeaveASentence) {
    openBlockedIn();
    QTest::keyClick(window, Qt::Key_F, Qt::ControlModifier);
    QTest::keyClicks(QApplication::focusWidget(), QStringLiteral("192.0.2.0/24"));
    EXPECT_EQ(shownAddresses(), Texts{"192.0.2.77"});
    EXPECT_EQ(text("addressCount"), "1 of 3");
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_X);
    EXPECT_EQ(tableview().emptyText(), "No address matches the filter.");
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Escape);
    EXPECT_EQ(shownAddresses().size(), 3u);
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Escape);
    EXPECT_TRUE(tableview().hasFocus());

    daemon.counts = [](const CountRequest&) { return std::optional<CountReply>(); };
    view().reloadTallies();
    EXPECT_TRUE(shownAddresses().empty());
    EXPECT_TRUE(tableview().emptyText().startsWith(QStringLiteral("No address since 1970")));
    EXPECT_EQ(console.back(), "Vardex XPC Service error: the request failed");
}

} // namespace
} // namespace brindle::test
