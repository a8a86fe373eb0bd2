// SPDX-License-Identifier: BSD-2-Clause
#include "app/stats/PieTableLink.h"

#include "app/stats/VDXPieChart.h"
#include "app/tallies/TallyTable.h"
#include "app/tallies/TallyTableModel.h"

#include <QEvent>
#include <QItemSelectionModel>
#include <QPainter>
#include <QScrollBar>

namespace brindle {
namespace {

constexpr int kHighlightAlpha = 56;

} // namespace

PieTableLink::PieTableLink(VDXPieChart& chart, TallyTable& table)
    : QWidget(table.viewport()), chart_(&chart), table_(table) {
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setAttribute(Qt::WA_NoSystemBackground);
    table_.setMouseTracking(true);
    table_.viewport()->installEventFilter(this);
    connect(&table_, &QAbstractItemView::entered, this,
            [this](const QModelIndex& index) { rowHovered(index.row()); });
    connect(&table_, &QAbstractItemView::viewportEntered, this, [this] { rowHovered(-1); });
    // Scrolling moves the viewport's children along with its content.
    connect(&table_, &TallyTable::visibleRowsChanged, this, &PieTableLink::followScrolling);
    connect(table_.horizontalScrollBar(), &QScrollBar::valueChanged, this, &PieTableLink::cover);
    connect(table_.selectionModel(), &QItemSelectionModel::currentRowChanged, this,
            &PieTableLink::markCurrent);
    connect(table_.selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &PieTableLink::markCurrent);
    connect(chart_, &VDXPieChart::sliceHovered, this, &PieTableLink::sliceHovered);
    connect(chart_, &VDXPieChart::sliceClicked, this, &PieTableLink::sliceClicked);
    cover();
    setVisible(true);
}

std::optional<std::size_t> PieTableLink::sliceOfRow(int row) const {
    if (row < 0 || !chart_)
        return std::nullopt;
    const auto& rows = table_.tallyModel()->controller();
    return chart_->pie().sliceOf(rows.arrangedRow(static_cast<std::size_t>(row))->place());
}

void PieTableLink::rowHovered(int row) {
    hoveredRow_ = row;
    pointAt(sliceOfRow(row));
}

void PieTableLink::sliceHovered(std::optional<std::size_t> slice) {
    hoveredRow_ = -1;
    pointAt(slice);
}

void PieTableLink::pointAt(std::optional<std::size_t> slice) {
    shown_ = slice;
    if (slice && chart_)
        chart_->setHighlighted(slice);
    else
        markCurrent();
    update();
}

void PieTableLink::followScrolling() {
    cover();
    // Another row came under the pointer, which did not move.
    if (hoveredRow_ >= 0)
        rowHovered(table_.indexAt(table_.viewport()->mapFromGlobal(QCursor::pos())).row());
}

void PieTableLink::markCurrent() {
    shown_.reset();
    hoveredRow_ = -1;
    update();
    if (!chart_)
        return;
    const QModelIndex current = table_.currentIndex();
    const bool selected =
        current.isValid() && table_.selectionModel()->isRowSelected(current.row(), QModelIndex());
    chart_->setHighlighted(selected ? sliceOfRow(current.row()) : std::nullopt);
}

void PieTableLink::sliceClicked(std::size_t slice) {
    QItemSelection selection;
    const int rows = table_.model()->rowCount();
    int first = -1;
    for (int row = 0; row <= rows; ++row) {
        const bool inside = row < rows && sliceOfRow(row) == slice;
        if (inside && first < 0) {
            first = row;
        } else if (!inside && first >= 0) {
            selection.select(table_.model()->index(first, 0), table_.model()->index(row - 1, 0));
            first = -1;
        }
    }
    if (selection.isEmpty())
        return;
    const QModelIndex top = table_.model()->index(selection.first().top(), 0);
    table_.selectionModel()->setCurrentIndex(top, QItemSelectionModel::NoUpdate);
    table_.selectionModel()->select(selection, QItemSelectionModel::ClearAndSelect |
                                                   QItemSelectionModel::Rows);
    table_.scrollTo(top);
}

void PieTableLink::cover() {
    setGeometry(table_.viewport()->rect());
    raise();
    update();
}

void PieTableLink::paintEvent(QPaintEvent*) {
    if (!shown_)
        return;
    QPainter painter(this);
    QColor colour = table_.palette().color(QPalette::Highlight);
    colour.setAlpha(kHighlightAlpha);
    const VisibleRows visible = table_.visibleRows();
    for (std::size_t place = visible.first; place < visible.first + visible.number; ++place) {
        const int row = static_cast<int>(place);
        if (hoveredRow_ < 0 ? sliceOfRow(row) == shown_ : row == hoveredRow_)
            painter.fillRect(0, table_.rowViewportPosition(row), width(), table_.rowHeight(row),
                             colour);
    }
}

bool PieTableLink::eventFilter(QObject* object, QEvent* event) {
    if (event->type() == QEvent::Leave)
        rowHovered(-1);
    else if (event->type() == QEvent::Resize)
        cover();
    return QWidget::eventFilter(object, event);
}

} // namespace brindle
