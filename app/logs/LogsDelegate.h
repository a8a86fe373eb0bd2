// SPDX-License-Identifier: BSD-2-Clause
//
// Paints the cells of the logs table: roomy margins, no box around the current cell, and a faint
// tint over rows of blocked packets that suits light and dark palettes. Main thread.
#pragma once

#include <QFontMetrics>
#include <QSize>
#include <QStyledItemDelegate>

#include <functional>

namespace brindle {

class LogsDelegate final : public QStyledItemDelegate {
    Q_OBJECT
  public:
    static constexpr int kCellMargin = 8; ///< left and right of a cell's content
    static QSize pictureSize() { return {22, 16}; }
    /// Width of a cell that shows `text`, behind a picture or not, without cutting it.
    static int cellWidth(const QFontMetrics& metrics, const QString& text, bool picture);

    using QStyledItemDelegate::QStyledItemDelegate;
    /// Says of a row of the model whether its packet was blocked.
    void setBlockedRows(std::function<bool(int row)> blocked) { blocked_ = std::move(blocked); }

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;

  private:
    std::function<bool(int row)> blocked_;
};

} // namespace brindle
