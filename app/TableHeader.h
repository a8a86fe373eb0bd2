// SPDX-License-Identifier: BSD-2-Clause
//
// The titles of a table, above the texts of their cells and on the colour of the window. The arrow
// of the sorted column stands in line with its title, on the side that the title leaves free. Main
// thread.
#pragma once

#include <QHeaderView>

namespace brindle {

class TableHeader : public QHeaderView {
    Q_OBJECT
  public:
    /// Pixels that a title needs beside its text when the arrow is shown.
    static constexpr int kArrowWidth = 22;

    /// `cellMargin`: pixels beside the texts of the cells.
    TableHeader(int cellMargin, QWidget* parent);

  protected:
    void initStyleOptionForIndex(QStyleOptionHeader* option, int logicalIndex) const override;
};

} // namespace brindle
