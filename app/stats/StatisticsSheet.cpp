// SPDX-License-Identifier: BSD-2-Clause
#include "app/stats/StatisticsSheet.h"

#include "app/stats/PiePainter.h"
#include "core/stats/TallyColours.h"

#include <QCoreApplication>
#include <QFontMetricsF>

#include <algorithm>

namespace brindle {
namespace {

constexpr double kCaptionSize = 17;
constexpr double kTextSize = 10;
constexpr double kNoteSize = 9;
constexpr double kPieRadius = 70;
constexpr double kHeadHeight = 2 * kPieRadius + 20;
constexpr double kTitlesHeight = 20;
constexpr double kRowHeight = 17;
constexpr double kFooterHeight = 24;
constexpr double kCellMargin = 6;
constexpr double kDotRadius = 4.5;
constexpr double kPictureMargin = 24;
constexpr double kPictureWidth = 560;

const QColor kInk(0x1a, 0x1a, 0x1a);
const QColor kFaintInk(0x60, 0x60, 0x60);
const QColor kRule(0xd8, 0xd8, 0xd8);

QString tr(const char* text) {
    return QCoreApplication::translate("StatisticsSheet", text);
}

QString toQString(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

QString grouped(std::size_t number) {
    return QString::fromStdString(groupedNumber(static_cast<std::int64_t>(number)));
}

Qt::Alignment alignmentOf(TallyColumn column) {
    switch (describe(column).alignment) {
    case TallyAlignment::right:
        return Qt::AlignRight | Qt::AlignVCenter;
    case TallyAlignment::center:
        return Qt::AlignCenter;
    case TallyAlignment::left:
        break;
    }
    return Qt::AlignLeft | Qt::AlignVCenter;
}

void drawText(QPainter& painter, const QRectF& place, Qt::Alignment alignment,
              const QString& text) {
    const QFontMetricsF metrics(painter.font());
    painter.drawText(place, static_cast<int>(alignment) | Qt::TextSingleLine | Qt::TextDontClip,
                     metrics.elidedText(text, Qt::ElideMiddle, place.width()));
}

void drawRule(QPainter& painter, double y, double width, const QColor& colour) {
    painter.setPen(QPen(colour, 0.5));
    painter.drawLine(QPointF(0, y), QPointF(width, y));
}

std::size_t rowsWithin(double height) {
    return static_cast<std::size_t>(std::max(1.0, (height - kTitlesHeight) / kRowHeight));
}

} // namespace

StatisticsSheet::StatisticsSheet(StatisticsSheetContent content) : content_(std::move(content)) {}

QFont StatisticsSheet::font(double size, QFont::Weight weight) const {
    QFont made(content_.family);
    // In the painter's own units, whatever the resolution of what it paints on.
    made.setPixelSize(static_cast<int>(size));
    made.setWeight(weight);
    return made;
}

std::size_t StatisticsSheet::rowsOnFirstPage(QSizeF page) const {
    return rowsWithin(page.height() - kHeadHeight - kFooterHeight);
}

std::size_t StatisticsSheet::rowsOnLaterPage(QSizeF page) const {
    return rowsWithin(page.height() - kFooterHeight);
}

int StatisticsSheet::pages(QSizeF page) const {
    const std::size_t rows = content_.rows.arrangedCount();
    const std::size_t first = rowsOnFirstPage(page);
    if (rows <= first)
        return 1;
    const std::size_t later = rowsOnLaterPage(page);
    return 1 + static_cast<int>((rows - first + later - 1) / later);
}

void StatisticsSheet::paintPage(QPainter& painter, QSizeF page, int number) const {
    const std::size_t later = rowsOnLaterPage(page);
    const std::size_t first =
        number == 0 ? 0 : rowsOnFirstPage(page) + static_cast<std::size_t>(number - 1) * later;
    const double top = number == 0 ? paintHead(painter, page.width()) : 0;
    paintTable(painter, top, page.width(), first, number == 0 ? rowsOnFirstPage(page) : later);

    painter.setFont(font(kNoteSize));
    painter.setPen(kFaintInk);
    const QRectF footer(0, page.height() - kNoteSize - 4, page.width(), kNoteSize + 4);
    const QString place = tr("Page %1 of %2").arg(number + 1).arg(pages(page));
    drawText(painter, footer, Qt::AlignRight, place);
    drawText(painter, footer.adjusted(0, 0, -100, 0), Qt::AlignLeft, content_.caption);
}

QSizeF StatisticsSheet::pictureSize() const {
    const std::size_t all = content_.rows.arrangedCount();
    const std::size_t rows = std::min(all, kMostPictureRows);
    return {kPictureWidth + 2 * kPictureMargin,
            2 * kPictureMargin + kHeadHeight + kTitlesHeight +
                kRowHeight * static_cast<double>(rows + (rows < all ? 1 : 0))};
}

void StatisticsSheet::paintPicture(QPainter& painter) const {
    painter.fillRect(QRectF(QPointF(0, 0), pictureSize()), Qt::white);
    painter.save();
    painter.translate(kPictureMargin, kPictureMargin);
    const double top = paintHead(painter, kPictureWidth);
    const double end = paintTable(painter, top, kPictureWidth, 0, kMostPictureRows);
    if (const std::size_t all = content_.rows.arrangedCount(); all > kMostPictureRows) {
        painter.setFont(font(kTextSize));
        painter.setPen(kFaintInk);
        drawText(painter, {kCellMargin, end, kPictureWidth, kRowHeight},
                 Qt::AlignLeft | Qt::AlignVCenter,
                 tr("and %1 more rows").arg(grouped(all - kMostPictureRows)));
    }
    painter.restore();
}

double StatisticsSheet::paintHead(QPainter& painter, double width) const {
    const double beside = width - 2 * kPieRadius - 20;
    painter.setFont(font(kCaptionSize, QFont::Bold));
    painter.setPen(kInk);
    drawText(painter, {0, 4, beside, kCaptionSize + 8}, Qt::AlignLeft | Qt::AlignVCenter,
             content_.caption);
    painter.setFont(font(kTextSize));
    painter.setPen(kFaintInk);
    painter.drawText(QRectF(0, kCaptionSize + 18, beside, kPieRadius),
                     Qt::AlignLeft | Qt::AlignTop | Qt::TextWordWrap, content_.totals);
    paintPie(painter, {width - kPieRadius - 2, kPieRadius + 2}, kPieRadius, content_.pie,
             {.colours = tallyColours(),
              .background = Qt::white,
              .ink = kInk,
              .highlighted = std::nullopt});
    return kHeadHeight;
}

std::vector<StatisticsSheet::Column> StatisticsSheet::layColumns(double width) const {
    const QFontMetricsF metrics(font(kTextSize, QFont::DemiBold));
    std::vector<Column> columns;
    double used = 0;
    double elastic = 0;
    for (const TallyColumn column : content_.columns) {
        const TallyColumnInfo& info = describe(column);
        Column laid{.column = column};
        if (info.elastic)
            ++elastic;
        else
            laid.width = 2 * kCellMargin +
                         std::max({2 * kDotRadius, metrics.horizontalAdvance(toQString(info.title)),
                                   metrics.horizontalAdvance(toQString(info.sample))});
        used += laid.width;
        columns.push_back(laid);
    }
    double left = 0;
    for (Column& column : columns) {
        if (describe(column.column).elastic)
            column.width = std::max(0.0, width - used) / elastic;
        column.left = left;
        left += column.width;
    }
    return columns;
}

double StatisticsSheet::paintTable(QPainter& painter, double top, double width, std::size_t first,
                                   std::size_t count) const {
    const std::vector<Column> columns = layColumns(width);
    const auto cell = [](const Column& column, double y, double height) {
        return QRectF(column.left + kCellMargin, y, column.width - 2 * kCellMargin, height);
    };
    painter.setFont(font(kTextSize, QFont::DemiBold));
    painter.setPen(kInk);
    for (const Column& column : columns)
        drawText(painter, cell(column, top, kTitlesHeight), alignmentOf(column.column),
                 toQString(describe(column.column).title));
    double y = top + kTitlesHeight;
    drawRule(painter, y, width, kFaintInk);

    painter.setFont(font(kTextSize));
    const std::size_t last = std::min(first + count, content_.rows.arrangedCount());
    for (std::size_t row = first; row < last; ++row) {
        for (const Column& column : columns)
            paintCell(painter, cell(column, y, kRowHeight), column.column,
                      *content_.rows.arrangedRow(row));
        y += kRowHeight;
        drawRule(painter, y, width, kRule);
    }
    return y;
}

void StatisticsSheet::paintCell(QPainter& painter, const QRectF& place, TallyColumn column,
                                const VisualizerObj& row) const {
    if (column != TallyColumn::legend) {
        painter.setPen(kInk);
        drawText(painter, place, alignmentOf(column),
                 QString::fromStdString(columnText(row, column, content_.rows.total())));
    } else if (const auto colour = row.color()) {
        painter.save();
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(QPen(kFaintInk, 0.5));
        painter.setBrush(QColor(colour->red, colour->green, colour->blue));
        painter.drawEllipse(place.center(), kDotRadius, kDotRadius);
        painter.restore();
    }
}

} // namespace brindle
