// SPDX-License-Identifier: BSD-2-Clause
//
// What a statistics window shows, laid out for paper and pictures: caption, pie and table, black on
// white, page by page. Lengths are points. A view of the window's data, made when something is
// printed or saved; main thread.
//
//     for (int page = 0; page < sheet.pages(size); ++page)
//         sheet.paintPage(painter, size, page);
#pragma once

#include "app/stats/PieSlices.h"
#include "app/tallies/TallyArrayController.h"
#include "app/tallies/TallyColumn.h"

#include <QFont>
#include <QPainter>
#include <QRectF>
#include <QSizeF>
#include <QString>

#include <cstddef>
#include <span>
#include <vector>

namespace brindle {

struct StatisticsSheetContent {
    QString caption;
    QString totals; ///< the line below the caption
    const PieSlices& pie;
    const TallyArrayController& rows; ///< in the order they are listed
    std::span<const TallyColumn> columns;
    QString family; ///< of the font
};

class StatisticsSheet {
  public:
    /// A picture of more rows says how many it leaves out: no viewer opens a picture of thousands.
    static constexpr std::size_t kMostPictureRows = 200;

    /// What `content` refers to outlives the sheet.
    explicit StatisticsSheet(StatisticsSheetContent content);

    /// Every row, on as many pages of that size as it takes; at least one.
    int pages(QSizeF page) const;
    void paintPage(QPainter& painter, QSizeF page, int number) const;

    /// One page with the first kMostPictureRows rows.
    QSizeF pictureSize() const;
    void paintPicture(QPainter& painter) const;

  private:
    struct Column {
        TallyColumn column;
        double left = 0;
        double width = 0;
    };

    std::size_t rowsOnFirstPage(QSizeF page) const;
    std::size_t rowsOnLaterPage(QSizeF page) const;
    double paintHead(QPainter& painter, double width) const;
    double paintTable(QPainter& painter, double top, double width, std::size_t first,
                      std::size_t count) const;
    void paintCell(QPainter& painter, const QRectF& place, TallyColumn column,
                   const VisualizerObj& row) const;
    std::vector<Column> layColumns(double width) const;
    QFont font(double size, QFont::Weight weight = QFont::Normal) const;

    const StatisticsSheetContent content_;
};

} // namespace brindle
