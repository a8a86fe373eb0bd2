// SPDX-License-Identifier: BSD-2-Clause
//
// Ties a pie chart to the table beside it: while the pointer is on a slice its rows are highlighted
// with it, on a row its slice is. Else, and once another row becomes the current one, the slice of
// the table's current row is marked. A click on a slice selects its rows. A child of the table's
// viewport, over which it paints; main thread.
#pragma once

#include <QPointer>
#include <QWidget>

#include <cstddef>
#include <optional>

namespace brindle {

class TallyTable;
class VDXPieChart;

class PieTableLink final : public QWidget {
    Q_OBJECT
  public:
    /// The table has its model; its rows are the chart's entries by their place in the list.
    PieTableLink(VDXPieChart& chart, TallyTable& table);

  protected:
    void paintEvent(QPaintEvent* event) override;
    bool eventFilter(QObject* object, QEvent* event) override;

  private:
    std::optional<std::size_t> sliceOfRow(int row) const;
    void rowHovered(int row);
    void sliceHovered(std::optional<std::size_t> slice);
    void sliceClicked(std::size_t slice);
    void pointAt(std::optional<std::size_t> slice);
    void markCurrent();
    void cover();
    void followScrolling();

    QPointer<VDXPieChart> chart_;
    TallyTable& table_;
    std::optional<std::size_t> shown_; ///< the slice under the pointer, or of the row under it
    int hoveredRow_ = -1;
};

} // namespace brindle
