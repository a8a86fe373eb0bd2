// SPDX-License-Identifier: BSD-2-Clause
//
// Paints the cells of tally tables: flags, legend dots and share bars, with roomy margins and a
// faint line between rows, in light and dark palettes. A child of its table; main thread.
#pragma once

#include <QFontMetrics>
#include <QPointer>
#include <QSize>
#include <QStyledItemDelegate>

#include "app/tallies/TallyColumn.h"

namespace brindle {

class PictureStore;

class TallyDelegate final : public QStyledItemDelegate {
    Q_OBJECT
  public:
    static constexpr int kCellMargin = 8; ///< left and right of a cell's content
    static QSize flagSize() { return {20, 15}; }
    /// Width of a cell of that column that shows `text` without cutting it.
    static int cellWidth(const QFontMetrics& metrics, TallyColumn column, const QString& text);

    using QStyledItemDelegate::QStyledItemDelegate;
    void setPictures(PictureStore& pictures);

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;

  private:
    QPointer<PictureStore> pictures_;
};

} // namespace brindle
