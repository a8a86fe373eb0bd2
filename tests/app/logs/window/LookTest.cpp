// SPDX-License-Identifier: BSD-2-Clause
//
// What the window looks like, in light and dark and at several sizes. With BRINDLE_PICTURES set,
// the pictures stay there for the eye.
#include "tests/app/support/LogsWindowTest.h"

#include "app/logs/LogsDelegate.h"
#include <QApplication>

#include <QDir>
#include <QHeaderView>
#include <QImage>
#include <QLabel>
#include <QTemporaryDir>
#include <QToolButton>

namespace brindle::test {
namespace {

QPalette darkPalette() {
    QPalette palette;
    palette.setColor(QPalette::Window, QColor(37, 40, 44));
    palette.setColor(QPalette::WindowText, QColor(226, 228, 231));
    palette.setColor(QPalette::Base, QColor(27, 29, 32));
    palette.setColor(QPalette::AlternateBase, QColor(33, 36, 39));
    palette.setColor(QPalette::Text, QColor(226, 228, 231));
    palette.setColor(QPalette::PlaceholderText, QColor(140, 146, 153));
    palette.setColor(QPalette::Button, QColor(48, 52, 57));
    palette.setColor(QPalette::ButtonText, QColor(226, 228, 231));
    palette.setColor(QPalette::Mid, QColor(62, 66, 72));
    palette.setColor(QPalette::Dark, QColor(20, 22, 24));
    palette.setColor(QPalette::Highlight, QColor(46, 104, 184));
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::ToolTipBase, QColor(48, 52, 57));
    palette.setColor(QPalette::ToolTipText, QColor(226, 228, 231));
    return palette;
}

std::vector<Sample> mixedTraffic(int count) {
    const std::vector<std::string> v4{"203.0.113.77", "198.51.100.200", "192.0.2.15", "10.44.0.2"};
    const std::vector<std::string> v6{"2001:db8:85a3:1319:8a2e:1370:7348:7344",
                                      "fe80::1ff:fe23:4567:890a", "2001:db8::1"};
    std::vector<Sample> samples;
    for (int i = 0; i < count; ++i) {
        const auto n = static_cast<std::size_t>(i);
        const bool six = i % 4 == 1;
        samples.push_back({.src = six ? v6[n % v6.size()] : v4[n % v4.size()],
                           .dst = six ? v6[(n + 1) % v6.size()] : v4[(n + 1) % v4.size()],
                           .action = i % 3 == 0 ? "block" : "pass",
                           .direction = i % 5 < 2 ? "out" : "in",
                           .epoch = 1700000000.0 - i,
                           .srcport = static_cast<std::uint16_t>(1024 + i * 977 % 60000),
                           .dstport = static_cast<std::uint16_t>(i % 2 ? 443 : 53)});
    }
    return samples;
}

class LookTest : public LogsWindowTest {
  protected:
    void SetUp() override {
        tables.portNames = PortNames({{"443", "https"}, {"53", "domain"}});
        daemon.status.rows = 10482113;
        keep_ = qEnvironmentVariable("BRINDLE_PICTURES");
    }
    void TearDown() override { QApplication::setPalette(QPalette()); }
    void save(const QString& name) {
        settle();
        QTest::qWait(150);
        if (!keep_.isEmpty()) {
            QDir().mkpath(keep_);
            controller->window()->grab().save(QDir(keep_).filePath(name + ".png"));
        }
    }
    /// Pixels of the table's first verdict picture that differ from the row behind it.
    int picturePixels() {
        const QRect cell = table().visualRect(table().model()->index(0, 0));
        const QImage image = table().viewport()->grab(cell).toImage();
        const QRgb behind = image.pixel(1, 1);
        int differing = 0;
        for (int y = 1; y < image.height() - 1; ++y) {
            for (int x = 0; x < image.width(); ++x) {
                differing += image.pixel(x, y) != behind;
            }
        }
        return differing;
    }
    QString keep_;
};

TEST_F(LookTest, EveryTextFitsItsColumnAndPicturesAreDrawnInBothPalettes) {
    for (const bool dark : {false, true}) {
        SCOPED_TRACE(dark ? "dark" : "light");
        if (dark) {
            QApplication::setPalette(darkPalette());
        }
        open();
        view().queryLogs(LogsMode::live, {}, {}, 0);
        answer(mixedTraffic(60));
        ASSERT_TRUE(until([&] { return picturePixels() > 20; }));
        for (int column = 0; column < table().model()->columnCount(); ++column) {
            for (int row = 0; row < 8; ++row) {
                const QModelIndex index = table().model()->index(row, column);
                if (describe(static_cast<LogColumn>(column)).title.empty()) {
                    continue;
                }
                const bool picture = !index.data(Qt::DecorationRole).isNull();
                EXPECT_LE(LogsDelegate::cellWidth(table().fontMetrics(), index.data().toString(),
                                                  picture),
                          table().columnWidth(column))
                    << index.data().toString().toStdString();
            }
        }
        QTest::qWait(1200); // the status bar asks once a second
        save(dark ? "dark" : "light");
        select({2, 3});
        child<QLineEdit>("search")->insert("action:block nosuch:field");
        QTest::qWait(800);
        save(dark ? "dark-mistake" : "light-mistake");
        controller->window()->close();
        settle();
    }
}

TEST_F(LookTest, ControlsStayWithinTheWindowHoweverNarrowItIs) {
    open();
    answer(mixedTraffic(5));
    for (const int period : {0, 3}) {
        choosePeriod(period);
        for (const int width : {1500, 1100, 300}) {
            controller->window()->resize(width, 420);
            ASSERT_TRUE(until([&] {
                return controller->window()->width() <=
                       std::max(width, controller->window()->minimumWidth());
            }));
            settle();
            const auto* search = child<QLineEdit>("search");
            const int right = search->mapTo(controller->window(), QPoint(search->width(), 0)).x();
            EXPECT_LE(right, controller->window()->width()) << period << " at " << width;
            const auto* button = child<QToolButton>("blockinBtn");
            EXPECT_GE(button->width(), button->sizeHint().width()) << period << " at " << width;
            save(QStringLiteral("period%1-width%2").arg(period).arg(width));
        }
    }
}

TEST_F(LookTest, WindowSavesOnePictureOnceRowsAreShown) {
    QTemporaryDir directory;
    context.picturesDirectory = directory.path().toStdString() + "/pictures";
    open();
    view().queryLogs(LogsMode::live, {}, {}, 0);
    answer(mixedTraffic(40));
    const QString path = directory.filePath("pictures/logs.png");
    ASSERT_TRUE(until([&] { return QFile::exists(path); }));
    const QImage image(path);
    EXPECT_EQ(image.size(),
              controller->window()->size() * controller->window()->devicePixelRatioF());
}

} // namespace
} // namespace brindle::test
