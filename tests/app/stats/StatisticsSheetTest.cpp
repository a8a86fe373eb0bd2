// SPDX-License-Identifier: BSD-2-Clause
//
// What is printed and saved: no row is lost between pages, and nothing leaves its column.
#include "app/stats/StatisticsSheet.h"
#include "app/stats/StatisticsExport.h"

#include <gtest/gtest.h>

#include <QBuffer>
#include <QPrinter>
#include <QRegularExpression>
#include <QSvgGenerator>
#include <QTemporaryDir>

#include <map>

namespace brindle {
namespace {

constexpr QSizeF kA4(523, 770);

class Sheet : public testing::Test {
  protected:
    Sheet() : controller(rows) {}

    StatisticsSheet of(std::size_t count) {
        std::vector<TallyRows::Row> list;
        for (std::size_t i = 0; i < count; ++i) {
            list.push_back(
                VisualizerObj::create({.isIP = true}, "row-" + std::to_string(i), 1, nullptr));
        }
        rows.replace(std::move(list));
        return StatisticsSheet({.caption = QStringLiteral("Port 443"),
                                .totals = QString(),
                                .pie = pie,
                                .rows = controller,
                                .columns = tallyColumns(TallyTableKind::addressesOfPort),
                                .family = QStringLiteral("sans-serif")});
    }
    /// How often each row stands in a drawing.
    static std::map<int, int> rowsIn(const QByteArray& svg) {
        static const QRegularExpression label(QStringLiteral(">row-(\\d+)<"));
        std::map<int, int> found;
        for (auto all = label.globalMatch(QString::fromUtf8(svg)); all.hasNext();) {
            ++found[all.next().captured(1).toInt()];
        }
        return found;
    }
    static QByteArray pageOf(const StatisticsSheet& sheet, QSizeF size, int number) {
        QByteArray bytes;
        QBuffer buffer(&bytes);
        QSvgGenerator generator;
        generator.setOutputDevice(&buffer);
        generator.setSize(size.toSize());
        QPainter painter(&generator);
        sheet.paintPage(painter, size, number);
        painter.end();
        return bytes;
    }

    TallyRows rows;
    TallyArrayController controller;
    PieSlices pie;
};

TEST_F(Sheet, EveryRowStandsOnOnePage) {
    for (const QSizeF size : {kA4, QSizeF(770, 523), QSizeF(420, 60)}) {
        for (const std::size_t count : {0u, 1u, 33u, 34u, 35u, 36u, 500u}) {
            const StatisticsSheet sheet = of(count);
            std::map<int, int> found;
            for (int number = 0; number < sheet.pages(size); ++number) {
                const QByteArray page = pageOf(sheet, size, number);
                const auto here = rowsIn(page);
                EXPECT_TRUE(!here.empty() || count == 0) << "an empty page of " << count;
                for (const auto& [row, times] : here) {
                    found[row] += times;
                }
                EXPECT_TRUE(page.contains(">Port 443<")) << "the caption";
            }
            EXPECT_EQ(found.size(), count);
            for (const auto& [row, times] : found) {
                EXPECT_EQ(times, 1) << row << " of " << count;
            }
        }
    }
}

TEST_F(Sheet, APictureOfManyRowsSaysHowManyItLeavesOut) {
    const QByteArray all = svgOf(of(StatisticsSheet::kMostPictureRows), QString());
    EXPECT_EQ(rowsIn(all).size(), StatisticsSheet::kMostPictureRows);
    EXPECT_FALSE(all.contains("more rows"));
    const QByteArray cut = svgOf(of(StatisticsSheet::kMostPictureRows + 1500), QString());
    EXPECT_EQ(rowsIn(cut).size(), StatisticsSheet::kMostPictureRows);
    EXPECT_TRUE(cut.contains("and 1,500 more rows"));
}

TEST_F(Sheet, ThePagesThatWereChosenArePrinted) {
    const StatisticsSheet sheet = of(500);
    const QTemporaryDir folder;
    struct Case {
        int from, to;
        const char* pages;
    };
    QPrinter probe;
    const int all = sheet.pages(probe.pageRect(QPrinter::Point).size());
    ASSERT_GT(all, 3);
    const std::string allOfThem = "/Count " + std::to_string(all);
    for (const Case& one : {Case{0, 0, allOfThem.c_str()}, Case{2, 3, "/Count 2"},
                            Case{3, 99, nullptr}, Case{99, 99, "/Count 1"}}) {
        QPrinter printer;
        const QString path = folder.filePath(QStringLiteral("sheet.pdf"));
        printer.setOutputFormat(QPrinter::PdfFormat);
        printer.setOutputFileName(path);
        printer.setFromTo(one.from, one.to);
        ASSERT_TRUE(printSheet(sheet, printer));
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        const std::string expected =
            one.pages != nullptr ? one.pages : "/Count " + std::to_string(all - 2);
        EXPECT_TRUE(file.readAll().contains(expected.c_str())) << one.from << " to " << one.to;
    }
    QPrinter nowhere;
    nowhere.setOutputFormat(QPrinter::PdfFormat);
    nowhere.setOutputFileName(QStringLiteral("/proc/sheet.pdf"));
    const auto printed = printSheet(sheet, nowhere);
    ASSERT_FALSE(printed);
    EXPECT_EQ(printed.error(), "/proc/sheet.pdf cannot be written");
}

} // namespace
} // namespace brindle
