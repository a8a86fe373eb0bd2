// SPDX-License-Identifier: BSD-2-Clause
#include "app/TableHeader.h"

#include <QStyleOptionHeader>

#include <utility>

namespace brindle {

TableHeader::TableHeader(int cellMargin, QWidget* parent) : QHeaderView(Qt::Horizontal, parent) {
    setSectionsClickable(true);
    setHighlightSections(false);
    setStyleSheet(QStringLiteral("QHeaderView { background: palette(window); border: none; }"
                                 "QHeaderView::section { background: palette(window); border: none;"
                                 " border-bottom: 1px solid palette(mid); padding: 0 %1px; }"
                                 "QHeaderView::section:hover { background: palette(midlight); }")
                      .arg(cellMargin));
}

void TableHeader::initStyleOptionForIndex(QStyleOptionHeader* option, int logicalIndex) const {
    QHeaderView::initStyleOptionForIndex(option, logicalIndex);
    // The style would draw its arrow over the end of a title that is aligned to the right.
    if (std::exchange(option->sortIndicator, QStyleOptionHeader::None) == QStyleOptionHeader::None)
        return;
    const bool ascending = sortIndicatorOrder() == Qt::AscendingOrder;
    const QString arrow = ascending ? QStringLiteral("\u25B4") : QStringLiteral("\u25BE");
    option->text = option->textAlignment & Qt::AlignRight ? arrow + QLatin1Char(' ') + option->text
                                                          : option->text + QLatin1Char(' ') + arrow;
}

} // namespace brindle
