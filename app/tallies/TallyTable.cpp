// SPDX-License-Identifier: BSD-2-Clause
#include "app/tallies/TallyTable.h"

#include "app/TableHeader.h"
#include "app/images/PictureStore.h"
#include "app/tallies/TallyDelegate.h"
#include "app/tallies/TallyTableModel.h"

#include <QContextMenuEvent>
#include <QHeaderView>
#include <QMenu>
#include <QMouseEvent>
#include <QPainter>
#include <QScrollBar>

#include <algorithm>

namespace brindle {
namespace {

constexpr int kRowPadding = 8; ///< above and below the text, together
constexpr int kHeaderPadding = 10;
constexpr int kEmptyTextMargin = 24;
/// How narrow an elastic column may get, in characters.
constexpr int kFewestCharacters = 15;

QString toQString(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

} // namespace

TallyTable::TallyTable(QWidget* parent) : QTableView(parent) {
    setItemDelegate(new TallyDelegate(this));
    setSelectionBehavior(SelectRows);
    setSelectionMode(ExtendedSelection);
    setEditTriggers(NoEditTriggers);
    setShowGrid(false);
    setWordWrap(false);
    setTabKeyNavigation(false);
    setCornerButtonEnabled(false);
    setHorizontalScrollMode(ScrollPerPixel);
    setFrameShape(NoFrame);
    verticalHeader()->hide();
    verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    auto* const titles = new TableHeader(TallyDelegate::kCellMargin, this);
    setHorizontalHeader(titles);
    connect(titles, &QHeaderView::sectionResized, this, [this] {
        if (!measuring_)
            resizedByUser_ = true;
    });
    connect(verticalScrollBar(), &QScrollBar::valueChanged, this, &TallyTable::visibleRowsChanged);
}

void TallyTable::setPictures(PictureStore& pictures) {
    static_cast<TallyDelegate*>(itemDelegate())->setPictures(pictures);
    connect(&pictures, &PictureStore::drawn, viewport(), qOverload<>(&QWidget::update));
}

void TallyTable::setModel(QAbstractItemModel* newModel) {
    QTableView::setModel(newModel);
    const auto inSight = [this] { emit visibleRowsChanged(); };
    connect(newModel, &QAbstractItemModel::modelReset, this, inSight);
    connect(newModel, &QAbstractItemModel::layoutChanged, this, inSight);
    connect(newModel, &QAbstractItemModel::rowsInserted, this, inSight);
    connect(newModel, &QAbstractItemModel::rowsRemoved, this, inSight);
    const TallySort sort = tallyModel()->controller().sort();
    horizontalHeader()->setSortIndicator(
        tallyModel()->sectionOf(sort.column),
        sort.direction == TallySortDirection::ascending ? Qt::AscendingOrder : Qt::DescendingOrder);
    setSortingEnabled(true);
    measure();
}

TallyTableModel* TallyTable::tallyModel() const {
    return qobject_cast<TallyTableModel*>(model());
}

void TallyTable::sortByRecords() {
    sortByColumn(tallyModel()->sectionOf(TallyColumn::records), Qt::DescendingOrder);
}

VisibleRows TallyTable::visibleRows() const {
    VisibleRows visible;
    visible.arranged = model() == nullptr ? 0 : static_cast<std::size_t>(model()->rowCount());
    const int first = rowAt(0);
    if (visible.arranged == 0 || first < 0)
        return visible;
    const int below = rowAt(viewport()->height() - 1);
    const int last = below < 0 ? model()->rowCount() - 1 : below;
    visible.first = static_cast<std::size_t>(first);
    visible.number = static_cast<std::size_t>(last - first + 1);
    return visible;
}

/// A right-click acts on the rows that are selected when these are several, else on the row that
/// was clicked; below the last row, on none.
void TallyTable::selectForMenu(const QPoint& position) {
    const QModelIndex clicked = indexAt(position);
    if (!clicked.isValid())
        clearSelection();
    else if (TallyTableModel::rowsOf(selectionModel()->selection()).size() < 2)
        selectionModel()->setCurrentIndex(clicked, QItemSelectionModel::ClearAndSelect |
                                                       QItemSelectionModel::Rows);
}

void TallyTable::mousePressEvent(QMouseEvent* event) {
    // The toolkit's own press would select the clicked row before the menu opens.
    if (event->button() != Qt::RightButton)
        QTableView::mousePressEvent(event);
}

void TallyTable::mouseDoubleClickEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton)
        QTableView::mouseDoubleClickEvent(event);
}

void TallyTable::contextMenuEvent(QContextMenuEvent* event) {
    QPoint position = event->globalPos();
    if (event->reason() == QContextMenuEvent::Mouse)
        selectForMenu(event->pos());
    else if (currentIndex().isValid())
        position = viewport()->mapToGlobal(visualRect(currentIndex()).bottomLeft());
    if (menu_ != nullptr)
        menu_->popup(position);
    event->accept();
}

void TallyTable::measure() {
    if (model() == nullptr)
        return;
    measuring_ = true;
    verticalHeader()->setDefaultSectionSize(
        qMax(fontMetrics().height(), TallyDelegate::flagSize().height()) + kRowPadding);
    horizontalHeader()->setFixedHeight(fontMetrics().height() + kHeaderPadding);
    horizontalHeader()->setMinimumSectionSize(fontMetrics().averageCharWidth() * 3);
    const QFontMetrics titleMetrics(horizontalHeader()->font());
    for (int section = 0; section < model()->columnCount(); ++section) {
        const TallyColumnInfo& info = describe(tallyModel()->columnAt(section));
        const int texts =
            TallyDelegate::cellWidth(fontMetrics(), info.column, toQString(info.sample));
        const int title = info.title.empty()
                              ? 0
                              : titleMetrics.horizontalAdvance(toQString(info.title)) +
                                    2 * TallyDelegate::kCellMargin + TableHeader::kArrowWidth;
        const int fewest = info.elastic ? fewestCharacters() : 0;
        setColumnWidth(section, std::max({texts, title, fewest}));
    }
    measuring_ = false;
    comfortableWidth_ =
        horizontalHeader()->length() + verticalScrollBar()->sizeHint().width() + 2 * frameWidth();
    shareWidth();
}

int TallyTable::fewestCharacters() const {
    return fontMetrics().averageCharWidth() * kFewestCharacters;
}

/// Elastic columns take what is left of the width, or give what is missing.
void TallyTable::shareWidth() {
    if (resizedByUser_ || model() == nullptr)
        return;
    measuring_ = true;
    for (int section = 0; section < model()->columnCount(); ++section) {
        if (!describe(tallyModel()->columnAt(section)).elastic)
            continue;
        const int others = horizontalHeader()->length() - columnWidth(section);
        setColumnWidth(section, qMax(fewestCharacters(), viewport()->width() - others));
    }
    measuring_ = false;
}

void TallyTable::resizeEvent(QResizeEvent* event) {
    QTableView::resizeEvent(event);
    shareWidth();
    emit visibleRowsChanged();
}

void TallyTable::changeEvent(QEvent* event) {
    QTableView::changeEvent(event);
    if (event->type() == QEvent::FontChange || event->type() == QEvent::StyleChange)
        measure();
}

void TallyTable::setEmptyText(const QString& text) {
    if (text == emptyText_)
        return;
    emptyText_ = text;
    setAccessibleDescription(text);
    viewport()->update();
}

void TallyTable::paintEvent(QPaintEvent* event) {
    QTableView::paintEvent(event);
    if (model() == nullptr || model()->rowCount() > 0)
        return;
    QPainter painter(viewport());
    painter.setPen(palette().color(QPalette::PlaceholderText));
    painter.drawText(viewport()->rect().adjusted(kEmptyTextMargin, 0, -kEmptyTextMargin, 0),
                     Qt::AlignCenter | Qt::TextWordWrap, emptyText_);
}

} // namespace brindle
