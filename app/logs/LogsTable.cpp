// SPDX-License-Identifier: BSD-2-Clause
#include "app/logs/LogsTable.h"

#include "app/TableHeader.h"
#include "app/logs/LogsDelegate.h"
#include "app/logs/table/LogColumn.h"

#include <QHeaderView>
#include <QPaintEvent>
#include <QPainter>
#include <QScrollBar>
#include <QSignalBlocker>

#include <array>

namespace brindle {
namespace {

constexpr int kRowPadding = 8; ///< above and below the text, together
constexpr int kHeaderPadding = 10;

/// Columns that take the room a wide window leaves: those whose texts have no natural end.
constexpr std::array kElastic{LogColumn::source, LogColumn::destination, LogColumn::rule};

} // namespace

LogsTable::LogsTable(QWidget* parent) : QTableView(parent) {
    setItemDelegate(new LogsDelegate(this));
    setIconSize(LogsDelegate::pictureSize());
    verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    setHorizontalHeader(new TableHeader(LogsDelegate::kCellMargin, this));
    horizontalHeader()->setSectionsMovable(true);
    horizontalHeader()->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    horizontalHeader()->setSortIndicatorClearable(true);
    // Insertion order until the user asks for another.
    horizontalHeader()->setSortIndicator(-1, Qt::AscendingOrder);
    setSortingEnabled(true);
    connect(horizontalHeader(), &QHeaderView::sectionResized, this, [this] {
        if (!measuring_) {
            resizedByUser_ = true;
        }
    });
}

void LogsTable::setModel(QAbstractItemModel* newModel) {
    QTableView::setModel(newModel);
    connect(newModel, &QAbstractItemModel::rowsInserted, this,
            [this](const QModelIndex&, int first, int last) { rowsCame(first, last); });
    connect(newModel, &QAbstractItemModel::rowsRemoved, this,
            [this](const QModelIndex&, int first, int last) { rowsWent(first, last); });
    measure();
}

bool LogsTable::showsTop() const {
    return verticalScrollBar()->value() == 0;
}

void LogsTable::rowsCame(int first, int last) {
    if (first <= verticalScrollBar()->value() && !showsTop()) {
        updateGeometries(); // the scroll bar's range, which is otherwise set later in the turn
        verticalScrollBar()->setValue(verticalScrollBar()->value() + last - first + 1);
    }
}

void LogsTable::rowsWent(int first, int last) {
    const int top = verticalScrollBar()->value();
    if (first < top) {
        verticalScrollBar()->setValue(top - (qMin(last + 1, top) - first));
    }
}

void LogsTable::measure() {
    if (model() == nullptr) {
        return;
    }
    measuring_ = true;
    verticalHeader()->setDefaultSectionSize(qMax(fontMetrics().height(), iconSize().height()) +
                                            kRowPadding);
    horizontalHeader()->setFixedHeight(fontMetrics().height() + kHeaderPadding);
    const QFontMetrics headerMetrics(horizontalHeader()->font());
    for (const LogColumn column : allLogColumns()) {
        const LogColumnInfo& info = describe(column);
        const auto sample = QString::fromUtf8(info.sample.data(), qsizetype(info.sample.size()));
        const auto title = QString::fromUtf8(info.title.data(), qsizetype(info.title.size()));
        const int texts = LogsDelegate::cellWidth(fontMetrics(), sample, info.picture);
        const int heading = title.isEmpty()
                                ? 0
                                : headerMetrics.horizontalAdvance(title) +
                                      2 * LogsDelegate::kCellMargin + TableHeader::kArrowWidth;
        setColumnWidth(static_cast<int>(column), qMax(texts, heading));
    }
    horizontalHeader()->setMinimumSectionSize(fontMetrics().averageCharWidth() * 4);
    measuring_ = false;
    shareSpareWidth();
}

int LogsTable::comfortableWidth() const {
    return horizontalHeader()->length() + verticalScrollBar()->sizeHint().width();
}

void LogsTable::shareSpareWidth() {
    const int spare = viewport()->width() - horizontalHeader()->length();
    if (resizedByUser_ || spare == 0 || model() == nullptr) {
        return;
    }
    measuring_ = true;
    // What was given is taken back first, so that a window that shrinks ends as it began.
    for (const LogColumn column : kElastic) {
        const LogColumnInfo& info = describe(column);
        const auto sample = QString::fromUtf8(info.sample.data(), qsizetype(info.sample.size()));
        setColumnWidth(static_cast<int>(column),
                       LogsDelegate::cellWidth(fontMetrics(), sample, info.picture));
    }
    const int room = viewport()->width() - horizontalHeader()->length();
    if (room > 0) {
        for (const LogColumn column : kElastic) {
            const int section = static_cast<int>(column);
            setColumnWidth(section, columnWidth(section) + room / int(kElastic.size()));
        }
    }
    measuring_ = false;
}

void LogsTable::resizeEvent(QResizeEvent* event) {
    QTableView::resizeEvent(event);
    shareSpareWidth();
}

void LogsTable::changeEvent(QEvent* event) {
    QTableView::changeEvent(event);
    if (event->type() == QEvent::FontChange || event->type() == QEvent::StyleChange) {
        measure();
    }
}

void LogsTable::setEmptyText(const QString& text) {
    if (text != emptyText_) {
        emptyText_ = text;
        viewport()->update();
    }
}

void LogsTable::paintEvent(QPaintEvent* event) {
    QTableView::paintEvent(event);
    if (model() == nullptr) {
        return;
    }
    if (model()->rowCount() > 0) {
        emit painted();
        return;
    }
    QPainter painter(viewport());
    painter.setPen(palette().color(QPalette::PlaceholderText));
    QFont large = font();
    large.setPointSizeF(large.pointSizeF() * 1.15);
    painter.setFont(large);
    painter.drawText(viewport()->rect().adjusted(24, 0, -24, 0), Qt::AlignCenter | Qt::TextWordWrap,
                     emptyText_);
}

} // namespace brindle
