// SPDX-License-Identifier: BSD-2-Clause
//
// The chart as it is painted and as the pointer finds it.
#include "app/stats/VDXPieChart.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QImage>
#include <QSignalSpy>
#include <QTest>
#include <QToolTip>

#include <cmath>
#include <numbers>

namespace brindle {
namespace {

constexpr QRgb kDarkGrey = qRgb(85, 85, 85);

QPalette paletteOf(const QColor& background, const QColor& ink) {
    QPalette palette;
    palette.setColor(QPalette::Window, background);
    palette.setColor(QPalette::WindowText, ink);
    return palette;
}

class PieChart : public testing::Test {
  protected:
    PieChart() {
        chart.setFixedSize(150, 150);
        chart.setRadius(70);
        chart.setColori(tallyColours());
        chart.setPalette(paletteOf(Qt::white, Qt::black));
    }
    static QPoint at(double degrees, double radius) {
        const double angle = degrees * std::numbers::pi / 180;
        return {static_cast<int>(std::floor(75 + radius * std::cos(angle))),
                static_cast<int>(std::floor(75 - radius * std::sin(angle)))};
    }
    QRgb pixel(double degrees, double radius) {
        return chart.grab().toImage().pixel(at(degrees, radius));
    }
    void show() {
        chart.show();
        chart.activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(&chart));
        QTest::mouseMove(&chart, QPoint(1, 1));
    }

    VDXPieChart chart;
};

TEST_F(PieChart, SlicesAreSectorsOfTheDiscInTheirColours) {
    chart.setInfo({3, 1});
    for (const double degrees : {2.0, 90.0, 180.0, 268.0}) {
        EXPECT_EQ(pixel(degrees, 66), qRgb(255, 0, 0)) << degrees;
    }
    for (const double degrees : {272.0, 315.0, 358.0}) {
        EXPECT_EQ(pixel(degrees, 66), qRgb(255, 255, 0)) << degrees;
    }
    for (const double degrees : {0.0, 45.0, 180.0}) {
        EXPECT_EQ(pixel(degrees, 73), qRgb(255, 255, 255)) << "outside the radius";
    }
    chart.setColori({});
    EXPECT_EQ(pixel(90, 30), qRgb(128, 128, 128)) << "a slice without a colour";
}

TEST_F(PieChart, NoBackgroundShinesThroughBetweenSlices) {
    chart.setInfo({1, 1, 1, 1, 1, 1, 1});
    chart.setColori({{1, {255, 0, 0}},
                     {2, {255, 255, 0}},
                     {3, {255, 0, 0}},
                     {4, {255, 255, 0}},
                     {5, {255, 0, 0}},
                     {6, {255, 255, 0}},
                     {7, {0, 255, 0}}});
    const QImage image = chart.grab().toImage();
    for (int y = 0; y < 150; ++y) {
        for (int x = 0; x < 150; ++x) {
            if (std::hypot(x - 74.5, y - 74.5) < 66) {
                ASSERT_EQ(qBlue(image.pixel(x, y)), 0) << x << ", " << y;
            }
        }
    }
}

TEST_F(PieChart, WhatFollowsTheTenthAndADiscWithoutValuesAreDarkGrey) {
    chart.setInfo(std::vector<std::int64_t>(12, 1));
    EXPECT_EQ(pixel(285, 60), qRgb(170, 170, 170)) << "the tenth";
    EXPECT_EQ(pixel(305, 60), kDarkGrey);
    EXPECT_EQ(pixel(355, 60), kDarkGrey);

    const QPalette light = chart.palette();
    const QPalette dark = paletteOf(QColor(0x2d, 0x2d, 0x2d), QColor(0xee, 0xee, 0xee));
    for (const std::vector<std::int64_t>& info : {std::vector<std::int64_t>{}, {0, 0}}) {
        chart.setInfo(info);
        for (const QPalette& palette : {light, dark}) {
            chart.setPalette(palette);
            for (double degrees = 3; degrees < 360; degrees += 30) {
                EXPECT_EQ(pixel(degrees, 66), kDarkGrey) << degrees;
            }
            EXPECT_EQ(pixel(45, 74), palette.color(QPalette::Window).rgb());
        }
        // Dark grey on dark: an edge tells where the disc ends.
        EXPECT_GT(qGray(pixel(180, 69.3)), qGray(kDarkGrey) + 30);
    }
}

TEST_F(PieChart, ThePointerFindsSlicesAndTheToolTipNamesThem) {
    chart.setInfo({3, 1});
    chart.setLabels(
        [](std::size_t entry) { return entry == 0 ? QStringLiteral("<b>evil</b>") : QString(); });
    std::vector<std::optional<std::size_t>> hovered;
    QObject::connect(&chart, &VDXPieChart::sliceHovered,
                     [&](std::optional<std::size_t> slice) { hovered.push_back(slice); });
    show();
    QTest::mouseMove(&chart, at(100, 40));
    QTest::mouseMove(&chart, at(110, 40));
    ASSERT_TRUE(QTest::qWaitFor([] { return QToolTip::isVisible(); }));
    EXPECT_TRUE(QToolTip::text().contains(
        QStringLiteral("&lt;b&gt;evil&lt;/b&gt;: 3 of 4 records (75.0 %)")))
        << QToolTip::text().toStdString();
    QTest::mouseMove(&chart, at(315, 40));
    EXPECT_TRUE(QTest::qWaitFor([&] { return hovered.size() == 2; }));
    QTest::mouseMove(&chart, QPoint(2, 2));
    EXPECT_TRUE(QTest::qWaitFor([&] { return hovered.size() == 3; }));
    EXPECT_EQ(hovered, (std::vector<std::optional<std::size_t>>{0u, 1u, std::nullopt}))
        << "told once for each slice";

    QSignalSpy clicked(&chart, &VDXPieChart::sliceClicked);
    QTest::mouseClick(&chart, Qt::LeftButton, {}, at(315, 40));
    QTest::mouseClick(&chart, Qt::LeftButton, {}, QPoint(2, 2));
    QTest::mouseClick(&chart, Qt::RightButton, {}, at(100, 40));
    ASSERT_EQ(clicked.size(), 1);
    EXPECT_EQ(chart.sliceName(1), "Entry 2") << "nobody named it";

    chart.setInfo({});
    QTest::mouseMove(&chart, at(30, 40));
    ASSERT_TRUE(
        QTest::qWaitFor([] { return QToolTip::text().contains(QStringLiteral("No records")); }));
}

TEST_F(PieChart, TheMarkOfASliceLiesOutsideTheDisc) {
    chart.setInfo({3, 1});
    chart.setHighlighted(1);
    EXPECT_EQ(pixel(315, 72.7), qRgb(0, 0, 0));
    EXPECT_EQ(pixel(90, 72.7), qRgb(255, 255, 255));
    EXPECT_EQ(pixel(315, 66), qRgb(255, 255, 0)) << "the disc itself stays as it is";
    chart.setInfo({1});
    EXPECT_FALSE(chart.highlighted()) << "other data, other slices";
}

} // namespace
} // namespace brindle
