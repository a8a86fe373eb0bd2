// SPDX-License-Identifier: BSD-2-Clause
#include "app/tallies/TallyDelegate.h"

#include "app/images/PictureStore.h"
#include "app/tallies/TallyTableModel.h"

#include <QPainter>

namespace brindle {
namespace {

constexpr int kFlagGap = 7;
constexpr int kDotSize = 11;
constexpr int kBarGap = 10;
constexpr int kRoomyBar = 64; ///< points, in a column of its measured width
constexpr int kShortestBar = 2;
constexpr int kBarHeight = 8;

/// Between this row and the next: barely there, but it leads the eye along.
QColor ruleColour(const QPalette& palette) {
    QColor colour = palette.color(QPalette::Text);
    colour.setAlpha(16);
    return colour;
}

QColor barColour(const QPalette& palette, bool selected) {
    if (selected)
        return palette.color(QPalette::HighlightedText);
    return PictureStore::isDark(palette) ? QColor(0x6cb0ff) : QColor(0x1f6feb);
}

QColor trackColour(QColor bar) {
    bar.setAlpha(36);
    return bar;
}

int shareTextWidth(const QFontMetrics& metrics) {
    return metrics.horizontalAdvance(QStringLiteral("100.0 %"));
}

void drawBar(QPainter* painter, QRect place, double fraction, const QColor& colour) {
    place.setTop(place.top() + (place.height() - kBarHeight) / 2);
    place.setHeight(kBarHeight);
    if (place.width() < kShortestBar)
        return;
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setPen(Qt::NoPen);
    painter->setBrush(trackColour(colour));
    painter->drawRoundedRect(place, 2, 2);
    painter->setBrush(colour);
    place.setWidth(qMax(kShortestBar, qRound(place.width() * fraction)));
    painter->drawRoundedRect(place, 2, 2);
    painter->setRenderHint(QPainter::Antialiasing, false);
}

/// With an edge, for the colours that are close to the background.
void drawDot(QPainter* painter, const QRect& place, const QColor& colour, const QColor& ink) {
    QRectF dot(0, 0, kDotSize, kDotSize);
    dot.moveCenter(QRectF(place).center());
    QColor edge = ink;
    edge.setAlpha(110);
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setPen(edge);
    painter->setBrush(colour);
    painter->drawEllipse(dot);
    painter->setRenderHint(QPainter::Antialiasing, false);
}

} // namespace

int TallyDelegate::cellWidth(const QFontMetrics& metrics, TallyColumn column, const QString& text) {
    const int width = 2 * kCellMargin + (text.isEmpty() ? 0 : metrics.horizontalAdvance(text) + 2);
    switch (column) {
    case TallyColumn::legend:
        return width + kDotSize;
    case TallyColumn::nation:
        return width + flagSize().width() + kFlagGap;
    case TallyColumn::share:
        return width + kBarGap + kRoomyBar;
    default:
        return width;
    }
}

void TallyDelegate::setPictures(PictureStore& pictures) {
    pictures_ = &pictures;
}

void TallyDelegate::paint(QPainter* painter, const QStyleOptionViewItem& given,
                          const QModelIndex& index) const {
    QStyleOptionViewItem option = given;
    initStyleOption(&option, index);
    const bool selected = option.state & QStyle::State_Selected;
    option.palette.setCurrentColorGroup(option.state & QStyle::State_Active ? QPalette::Active
                                                                            : QPalette::Inactive);
    const QPalette& palette = option.palette;
    const QColor ink = palette.color(selected ? QPalette::HighlightedText : QPalette::Text);
    if (selected) {
        painter->fillRect(option.rect, palette.brush(QPalette::Highlight));
    } else {
        painter->setPen(ruleColour(palette));
        painter->drawLine(option.rect.bottomLeft(), option.rect.bottomRight());
    }

    QRect content = option.rect.adjusted(kCellMargin, 0, -kCellMargin, 0);
    if (const QVariant colour = index.data(kTallyColourRole); colour.isValid()) {
        drawDot(painter, content, colour.value<QColor>(), ink);
        return;
    }
    if (const QVariant bar = index.data(kTallyBarRole); bar.isValid()) {
        const int textWidth = shareTextWidth(option.fontMetrics);
        drawBar(painter, content.adjusted(0, 0, -textWidth - kBarGap, 0), bar.toDouble(),
                barColour(palette, selected));
        content.setLeft(content.right() - textWidth);
    }
    const auto* model = qobject_cast<const TallyTableModel*>(index.model());
    if (model != nullptr && model->columnAt(index.column()) == TallyColumn::nation) {
        // Codes stand below each other, with a flag or without.
        const auto picture = index.data(kTallyPictureRole).value<Picture>();
        const QImage image = pictures_ && !picture.isEmpty()
                                 ? pictures_->image(picture, flagSize(),
                                                    painter->device()->devicePixelRatioF(), palette)
                                 : QImage();
        if (!image.isNull()) {
            const QSize size = image.deviceIndependentSize().toSize();
            painter->drawImage(QPoint(content.left() + (flagSize().width() - size.width()) / 2,
                                      content.top() + (content.height() - size.height()) / 2),
                               image);
        }
        content.setLeft(content.left() + flagSize().width() + kFlagGap);
    }
    if (option.text.isEmpty() || content.width() <= 0)
        return;
    painter->setFont(option.font);
    painter->setPen(ink);
    painter->drawText(content, static_cast<int>(option.displayAlignment) | Qt::TextSingleLine,
                      option.fontMetrics.elidedText(option.text, Qt::ElideMiddle, content.width()));
}

} // namespace brindle
