// SPDX-License-Identifier: BSD-2-Clause
#include "app/logs/LogsDelegate.h"

#include "app/images/PictureStore.h"

#include <QIcon>
#include <QPainter>

namespace brindle {
namespace {

constexpr int kPictureGap = 6;

QColor blockedTint(const QPalette& palette) {
    return PictureStore::isDark(palette) ? QColor(255, 110, 100, 30) : QColor(214, 40, 40, 18);
}

/// Between this row and the next: barely there, but it leads the eye along.
QColor ruleColour(const QPalette& palette) {
    QColor colour = palette.color(QPalette::Text);
    colour.setAlpha(16);
    return colour;
}

} // namespace

int LogsDelegate::cellWidth(const QFontMetrics& metrics, const QString& text, bool picture) {
    int width = 2 * kCellMargin + (text.isEmpty() ? 0 : metrics.horizontalAdvance(text) + 2);
    if (picture) {
        width += pictureSize().width() + (text.isEmpty() ? 0 : kPictureGap);
    }
    return width;
}

void LogsDelegate::paint(QPainter* painter, const QStyleOptionViewItem& given,
                         const QModelIndex& index) const {
    QStyleOptionViewItem option = given;
    initStyleOption(&option, index);
    const bool selected = option.state & QStyle::State_Selected;
    const QPalette::ColorGroup group =
        option.state & QStyle::State_Active ? QPalette::Active : QPalette::Inactive;

    if (selected) {
        painter->fillRect(option.rect, option.palette.brush(group, QPalette::Highlight));
    } else {
        if (blocked_ && blocked_(index.row())) {
            painter->fillRect(option.rect, blockedTint(option.palette));
        }
        painter->setPen(ruleColour(option.palette));
        painter->drawLine(option.rect.bottomLeft(), option.rect.bottomRight());
    }

    QRect content = option.rect.adjusted(kCellMargin, 0, -kCellMargin, 0);
    if (!option.icon.isNull()) {
        const QSize size = option.icon.actualSize(option.decorationSize);
        const QRect place(content.left(), content.top() + (content.height() - size.height()) / 2,
                          size.width(), size.height());
        option.icon.paint(painter, place);
        content.setLeft(place.right() + 1 + kPictureGap);
    } else if (option.features & QStyleOptionViewItem::HasDecoration) {
        content.setLeft(content.left() + pictureSize().width() + kPictureGap);
    }
    if (option.text.isEmpty() || content.width() <= 0) {
        return;
    }
    painter->setFont(option.font);
    painter->setPen(
        option.palette.color(group, selected ? QPalette::HighlightedText : QPalette::Text));
    painter->drawText(content, static_cast<int>(option.displayAlignment) | Qt::TextSingleLine,
                      option.fontMetrics.elidedText(option.text, Qt::ElideMiddle, content.width()));
}

} // namespace brindle
