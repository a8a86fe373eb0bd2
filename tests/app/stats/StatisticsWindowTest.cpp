// SPDX-License-Identifier: BSD-2-Clause
//
// Statistics windows over a fake daemon, used as a user does: by mouse, keys and dialogs.
#include "app/stats/StatisticsWindow.h"
#include "app/stats/VDXPieChart.h"
#include "app/stats/VDXStatisticsWindowController.h"
#include "app/tallies/TallyTable.h"
#include "app/tallies/TallyTableModel.h"
#include "tests/app/support/WindowTest.h"

#include <QAbstractItemModelTester>
#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QHeaderView>
#include <QImageReader>
#include <QLabel>
#include <QLineEdit>
#include <QMenuBar>
#include <QMessageBox>
#include <QPrintDialog>
#include <QPushButton>
#include <QScrollBar>
#include <QSvgRenderer>
#include <QTemporaryDir>

namespace brindle::test {
namespace {

using Texts = std::vector<std::string>;

class StatisticsWindow : public WindowTest {
  protected:
    StatisticsWindow() {
        tables.portNames = PortNames({{"443", "https"}, {"22", "ssh"}});
        context.periods = {.bootEpoch = 1000, .listsStartEpoch = 1700000000, .listsPeriod = 1};
        daemon.breakdown = [this](const CountRequest&) {
            return std::optional(BreakdownReply{.entries = entries, .pie = entries});
        };
    }

    static CountEntry port(const std::string& label, std::int64_t value) {
        return {.label = label, .value = value, .isPort = true};
    }
    static std::vector<CountEntry> manyAddresses(int count) {
        std::vector<CountEntry> addresses;
        for (int i = 0; i < count; ++i) {
            addresses.push_back(
                {.label = "10.0.0." + std::to_string(i), .value = 2 * count - i, .isIP = true});
        }
        return addresses;
    }

    /// As a list window does.
    void open(InspectedKind kind, const std::string& label) {
        const bool isPort = kind == InspectedKind::port;
        const auto row =
            VisualizerObj::create({.isIP = !isPort, .isPort = isPort}, label, 1, nullptr);
        auto information = requestBreakdown(*row, kind, 1700000000, "pass", "in", context.tallies);
        rows = information->arrayforcontroller;
        const auto made =
            makeStatisticsWindow(context, {.information = std::move(*information),
                                           .name = "logs_1",
                                           .caption = (isPort ? "Port " : "IP ") + label});
        windowControllers.set("logs_1", made);
        window = static_cast<VDXStatisticsWindowController&>(*made).window();
        ASSERT_TRUE(QTest::qWaitForWindowActive(window));
        table = window->findChild<TallyTable*>(QStringLiteral("tableviewStatistics"));
        chart = window->findChild<VDXPieChart*>();
        QTest::mouseMove(window, QPoint(2, 2));
    }
    std::string text(const char* label) const {
        return window->findChild<QLabel*>(QLatin1String(label))->text().toStdString();
    }
    Texts shown() const {
        Texts labels;
        for (int row = 0; row < table->model()->rowCount(); ++row) {
            labels.push_back(table->model()->index(row, 1).data().toString().toStdString());
        }
        return labels;
    }
    QPoint placeOf(int row) const {
        return table->visualRect(table->model()->index(row, 1)).center();
    }
    void click(int row, Qt::KeyboardModifiers modifiers = {}) const {
        QTest::mouseClick(table->viewport(), Qt::LeftButton, modifiers, placeOf(row));
    }
    void hover(QWidget* widget, QPoint place) const {
        QTest::mouseMove(widget, place + QPoint(1, 1));
        QTest::mouseMove(widget, place);
    }
    /// The row is painted in another colour than it would be by itself.
    bool isTinted(int row) const {
        const QImage image = table->viewport()->grab().toImage();
        const QPoint place(image.width() - 3, table->rowViewportPosition(row) + 3);
        return image.pixel(place) != table->palette().color(QPalette::Base).rgb();
    }
    /// Types a path into the dialog that comes up.
    void saveTo(const QString& path) const {
        QFileDialog* dialog = nullptr;
        ASSERT_TRUE(until([&] {
            dialog = window->findChild<QFileDialog*>();
            return dialog != nullptr && dialog->isVisible();
        }));
        auto* name = dialog->findChild<QLineEdit*>(QStringLiteral("fileNameEdit"));
        ASSERT_NE(name, nullptr);
        name->setText(path);
        QTest::mouseClick(dialog->findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Save),
                          Qt::LeftButton);
        ASSERT_TRUE(until([&] { return window->findChild<QFileDialog*>() == nullptr; }));
    }
    static QByteArray contentOf(const QString& path) {
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << path.toStdString();
        return file.readAll();
    }

    std::vector<CountEntry> entries{{port("22", 300), port("443", 700), port("8080", 24)}};
    std::vector<std::shared_ptr<VisualizerObj>> rows;
    QMainWindow* window = nullptr;
    TallyTable* table = nullptr;
    VDXPieChart* chart = nullptr;
};

TEST_F(StatisticsWindow, ShowsTheBreakdownOfAnAddressAsItCame) {
    open(InspectedKind::address, "203.0.113.7");
    const QAbstractItemModelTester tester(table->model());
    EXPECT_EQ(text("inspectedElement"), "IP 203.0.113.7");
    EXPECT_EQ(text("totals"), "3 ports · 1,024 records · since 2023/11/14 22:13:20");
    EXPECT_EQ(shown(), (Texts{"22", "443", "8080"})) << "in reply order, whatever the counts";
    EXPECT_EQ(table->model()->index(1, 2).data(), "https");
    EXPECT_EQ(table->model()->index(1, 0).data(kTallyColourRole).value<QColor>(),
              QColor(255, 255, 0));
    EXPECT_EQ(console, Texts{"ip"});

    EXPECT_EQ(chart->parent()->objectName(), "pieChartView");
    EXPECT_EQ(chart->geometry(), QRect(0, 0, 150, 150));
    EXPECT_EQ(chart->radius(), 70);
    EXPECT_EQ(chart->colori(), tallyColours());
    EXPECT_EQ(chart->info(), (std::vector<std::int64_t>{300, 700, 24}));
    EXPECT_EQ(chart->sliceName(1), "443 https");

    // The titles sort; the menu brings the chart's order back.
    QHeaderView* titles = table->horizontalHeader();
    QTest::mouseClick(titles->viewport(), Qt::LeftButton, {},
                      QPoint(titles->sectionViewportPosition(3) + 10, 5));
    EXPECT_EQ(shown(), (Texts{"443", "22", "8080"}));
    QTest::keyClick(window, Qt::Key_0, Qt::ControlModifier);
    EXPECT_EQ(shown(), (Texts{"22", "443", "8080"}));
}

TEST_F(StatisticsWindow, AFailedRequestOpensTheEmptyWindowOfItsKind) {
    daemon.breakdown = [](const CountRequest&) { return std::optional<BreakdownReply>(); };
    open(InspectedKind::address, "203.0.113.7");
    EXPECT_EQ(console, (Texts{"Vardex XPC Service error: the request failed", "ip"}));
    EXPECT_TRUE(shown().empty());
    EXPECT_EQ(table->emptyText().toStdString(),
              "The logging daemon sent no port for this address.");
    EXPECT_EQ(text("totals"), "0 ports · 0 records · since 2023/11/14 22:13:20");
    EXPECT_EQ(chart->grab().toImage().pixel(30, 75), qRgb(85, 85, 85));
    hover(chart, QPoint(30, 75));
    EXPECT_EQ(text("sliceName"), "") << "nothing to say of the disc";

    daemon.reachable = false;
    context.helper->standingConnection()->invalidate();
    settle();
    open(InspectedKind::port, "443");
    EXPECT_EQ(console.back(), "port");
    EXPECT_EQ(table->model()->columnCount(), 5);
    EXPECT_EQ(table->emptyText().toStdString(), "Not connected to the logging daemon.");

    EXPECT_EQ(makeStatisticsWindow(context, {.information = {}, .name = "logs_2", .caption = ""}),
              nullptr)
        << "without a kind there is no window";
}

TEST_F(StatisticsWindow, SliceAndRowLightUpTogetherFromEitherSide) {
    entries = manyAddresses(14);
    open(InspectedKind::port, "443");
    hover(table->viewport(), placeOf(2));
    ASSERT_TRUE(until([&] { return chart->highlighted() == 2u; }));
    EXPECT_TRUE(isTinted(2));
    EXPECT_FALSE(isTinted(1));
    EXPECT_EQ(text("sliceName"), "10.0.0.2");
    EXPECT_EQ(text("sliceCount"), "26 of 301 records (8.6 %)");

    hover(table->viewport(), placeOf(11));
    ASSERT_TRUE(until([&] { return chart->highlighted() == 10u; })) << "the remainder";
    EXPECT_TRUE(isTinted(11));
    EXPECT_FALSE(isTinted(12)) << "only the row under the pointer";
    EXPECT_EQ(text("sliceName"), "4 others");

    hover(chart, QPoint(130, 77)); // just below the first ray: the last slice
    ASSERT_TRUE(until([&] { return isTinted(12); })) << "all rows of the slice";
    EXPECT_TRUE(isTinted(10) && isTinted(13) && !isTinted(9));
    hover(chart, QPoint(130, 60));
    ASSERT_TRUE(until([&] { return chart->highlighted() == 0u; }));
    EXPECT_TRUE(isTinted(0));

    hover(window, QPoint(2, 2));
    ASSERT_TRUE(until([&] { return !chart->highlighted(); }));
    EXPECT_FALSE(isTinted(0));
    EXPECT_EQ(text("sliceName"), "");

    // A click selects what the slice stands for; left alone, the chart marks the current row.
    QTest::mouseClick(chart, Qt::LeftButton, {}, QPoint(130, 77));
    EXPECT_EQ(TallyTableModel::rowsOf(table->selectionModel()->selection()),
              (std::vector<std::size_t>{10, 11, 12, 13}));
    hover(window, QPoint(2, 2));
    ASSERT_TRUE(until([&] { return chart->highlighted() == 10u; }));
    click(4);
    hover(window, QPoint(2, 2));
    EXPECT_TRUE(until([&] { return chart->highlighted() == 4u; }));
    hover(table->viewport(), placeOf(2));
    EXPECT_TRUE(until([&] { return chart->highlighted() == 2u; }));
    QTest::keyClick(table, Qt::Key_Down);
    EXPECT_EQ(chart->highlighted(), 5u) << "the keyboard moved on, the pointer rests";
}

TEST_F(StatisticsWindow, NationsAreLookedUpForTheAddressesInSight) {
    entries = manyAddresses(200);
    open(InspectedKind::port, "443");
    EXPECT_EQ(console, Texts{"port"});
    const auto lookedUp = [this](std::size_t place) { return rows[place]->nationisset(); };
    const VisibleRows top = table->visibleRows();
    ASSERT_GT(top.number, 10u);
    EXPECT_TRUE(lookedUp(top.number));
    EXPECT_FALSE(lookedUp(top.number + 1));
    table->verticalScrollBar()->setValue(100);
    EXPECT_TRUE(lookedUp(100) && lookedUp(100 + top.number - 1));
    EXPECT_FALSE(lookedUp(99) || lookedUp(199));

    for (CountEntry& entry : entries) {
        entry.isIP = false;
        entry.isPort = true;
    }
    open(InspectedKind::address, "203.0.113.7");
    EXPECT_FALSE(lookedUp(9)) << "ports have no nation";
}

TEST_F(StatisticsWindow, StaysRegisteredWhenClosedAndComesBackAsItWas) {
    open(InspectedKind::address, "203.0.113.7");
    QTest::keyClick(window, Qt::Key_W, Qt::ControlModifier);
    EXPECT_FALSE(window->isVisible());
    settle();
    entries.clear();
    context.periods.listsStartEpoch = 5;
    const auto kept = windowControllers.find("logs_1");
    ASSERT_NE(kept, nullptr);
    kept->present();
    ASSERT_TRUE(QTest::qWaitForWindowActive(window));
    EXPECT_EQ(shown(), (Texts{"22", "443", "8080"}));
    EXPECT_EQ(text("totals"), "3 ports · 1,024 records · since 2023/11/14 22:13:20");
    EXPECT_EQ(console, Texts{"ip"}) << "said once, when it was made";
    EXPECT_EQ(daemon.countRequests.size(), 1u);
}

TEST_F(StatisticsWindow, CopyTakesTheSelectionOrEverything) {
    open(InspectedKind::address, "203.0.113.7");
    QTest::keyClick(window, Qt::Key_C, Qt::ControlModifier);
    EXPECT_EQ(QApplication::clipboard()->text(),
              "22\tssh\t300\t29.3 %\n443\thttps\t700\t68.4 %\n8080\t\t24\t2.3 %");
    click(0);
    click(2, Qt::ControlModifier);
    QTest::keyClick(window, Qt::Key_C, Qt::ControlModifier);
    EXPECT_EQ(QApplication::clipboard()->text(), "22\tssh\t300\t29.3 %\n8080\t\t24\t2.3 %");
    for (const QAction* action : window->findChildren<QAction*>()) {
        if (!action->shortcut().isEmpty()) {
            EXPECT_TRUE(
                action->toolTip().contains(action->shortcut().toString(QKeySequence::NativeText)))
                << action->text().toStdString();
        }
    }
}

TEST_F(StatisticsWindow, SavesPicturesAndTablesWhereTheDialogSays) {
    const QTemporaryDir folder;
    open(InspectedKind::address, "203.0.113.7");
    QTest::keyClick(window, Qt::Key_S, Qt::ControlModifier);
    saveTo(folder.filePath(QStringLiteral("chart")));
    const QImage png(folder.filePath(QStringLiteral("chart.png")));
    ASSERT_FALSE(png.isNull());
    // The pie stands at the top right; its second slice is the largest.
    EXPECT_EQ(png.pixel(png.width() - 200, 200), qRgb(255, 255, 0));
    EXPECT_EQ(png.pixel(5, 5), qRgb(255, 255, 255));

    QTest::keyClick(window, Qt::Key_S, Qt::ControlModifier | Qt::ShiftModifier);
    saveTo(folder.filePath(QStringLiteral("chart.svg")));
    const QByteArray svg = contentOf(folder.filePath(QStringLiteral("chart.svg")));
    EXPECT_TRUE(QSvgRenderer(svg).isValid());
    EXPECT_TRUE(svg.contains("IP 203.0.113.7") && svg.contains("https"));

    QTest::keyClick(window, Qt::Key_S, Qt::ControlModifier | Qt::AltModifier);
    saveTo(folder.filePath(QStringLiteral("rows")));
    EXPECT_EQ(contentOf(folder.filePath(QStringLiteral("rows.csv"))),
              "Port,Service,Records,Share in %\r\n22,ssh,300,29.2969\r\n"
              "443,https,700,68.3594\r\n8080,,24,2.3438\r\n");

    std::string alert;
    QTimer dismiss;
    QObject::connect(&dismiss, &QTimer::timeout, [&] {
        if (auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget())) {
            alert = box->informativeText().toStdString();
            box->accept();
        }
    });
    dismiss.start(50);
    QTest::keyClick(window, Qt::Key_S, Qt::ControlModifier | Qt::AltModifier);
    saveTo(QStringLiteral("/proc/rows.csv"));
    EXPECT_TRUE(until([&] { return !alert.empty(); }));
    EXPECT_EQ(alert.find("/proc/rows.csv cannot be written: "), 0u) << alert;
}

TEST_F(StatisticsWindow, PrintsIntoTheFileThatTheDialogNames) {
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("sheet.pdf"));
    open(InspectedKind::address, "203.0.113.7");
    QTest::keyClick(window, Qt::Key_P, Qt::ControlModifier);
    QPrintDialog* dialog = nullptr;
    ASSERT_TRUE(until([&] {
        dialog = window->findChild<QPrintDialog*>();
        return dialog != nullptr && dialog->isVisible();
    }));
    auto* name = dialog->findChild<QLineEdit*>(QStringLiteral("filename"));
    if (name == nullptr || !name->isVisible()) {
        dialog->reject();
        GTEST_SKIP() << "the default printer is not a file";
    }
    name->setText(path);
    QTest::keyClick(dialog, Qt::Key_Return);
    ASSERT_TRUE(until([&] { return QFile::exists(path); }));
    const QByteArray pdf = contentOf(path);
    EXPECT_TRUE(pdf.startsWith("%PDF-"));
    EXPECT_TRUE(pdf.contains("/Count 1"));
}

} // namespace
} // namespace brindle::test
