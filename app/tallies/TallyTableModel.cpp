// SPDX-License-Identifier: BSD-2-Clause
#include "app/tallies/TallyTableModel.h"

#include <QColor>

#include <algorithm>
#include <utility>

namespace brindle {
namespace {

/// What is gathered is shown this often.
constexpr int kFlushIntervalMs = 250;

QString toQString(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

QVariant textOrNothing(const std::string& text) {
    return text.empty() ? QVariant() : QVariant(toQString(text));
}

int alignmentFlags(TallyAlignment alignment) {
    switch (alignment) {
    case TallyAlignment::right:
        return Qt::AlignRight | Qt::AlignVCenter;
    case TallyAlignment::center:
        return Qt::AlignCenter;
    case TallyAlignment::left:
        break;
    }
    return Qt::AlignLeft | Qt::AlignVCenter;
}

} // namespace

TallyTableModel::TallyTableModel(TallyArrayController& controller,
                                 std::span<const TallyColumn> columns, QObject* parent)
    : QAbstractTableModel(parent), controller_(controller), columns_(columns) {
    controller_.setObserver(this);
    flushTimer_.setSingleShot(true);
    connect(&flushTimer_, &QTimer::timeout, this, [this] {
        sinceFlush_.start();
        controller_.flush();
    });
}

TallyTableModel::~TallyTableModel() {
    controller_.setObserver(nullptr);
}

int TallyTableModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(controller_.arrangedCount());
}

int TallyTableModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(columns_.size());
}

int TallyTableModel::sectionOf(TallyColumn column) const {
    const auto found = std::ranges::find(columns_, column);
    return found == columns_.end() ? -1 : static_cast<int>(found - columns_.begin());
}

QVariant TallyTableModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const TallyColumn column = columnAt(index.column());
    if (role == Qt::TextAlignmentRole)
        return alignmentFlags(describe(column).alignment);
    const VisualizerObj& row = *controller_.arrangedRow(static_cast<std::size_t>(index.row()));
    switch (role) {
    case Qt::DisplayRole:
        return toQString(columnText(row, column, controller_.total()));
    case Qt::AccessibleTextRole:
        return column == TallyColumn::legend
                   ? toQString(row.icon())
                   : toQString(columnText(row, column, controller_.total()));
    case Qt::ToolTipRole:
        return textOrNothing(columnToolTip(row, column, controller_.total()));
    case kTallyPictureRole:
        return column == TallyColumn::nation && !row.image().isEmpty()
                   ? QVariant::fromValue(row.image())
                   : QVariant();
    case kTallyBarRole:
        return column == TallyColumn::share && controller_.largest() > 0
                   ? QVariant(std::min(1.0, static_cast<double>(row.value()) /
                                                static_cast<double>(controller_.largest())))
                   : QVariant();
    case kTallyColourRole:
        if (const auto colour = row.color(); colour && column == TallyColumn::legend)
            return QColor(colour->red, colour->green, colour->blue);
        return {};
    default:
        return {};
    }
}

QVariant TallyTableModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || section < 0 || section >= columnCount())
        return {};
    const TallyColumnInfo& info = describe(columnAt(section));
    switch (role) {
    case Qt::DisplayRole:
        return toQString(info.title);
    case Qt::ToolTipRole:
        return toQString(info.toolTip);
    case Qt::AccessibleTextRole:
        return toQString(info.title.empty() ? "Legend" : info.title);
    case Qt::TextAlignmentRole:
        return alignmentFlags(info.alignment);
    case Qt::InitialSortOrderRole:
        return static_cast<int>(info.largestFirst ? Qt::DescendingOrder : Qt::AscendingOrder);
    default:
        return {};
    }
}

void TallyTableModel::sort(int column, Qt::SortOrder order) {
    // Without a column: in the order they came, as the legend has them.
    controller_.setSort(
        {.column = column >= 0 && column < columnCount() ? columnAt(column) : TallyColumn::legend,
         .direction = order == Qt::AscendingOrder ? TallySortDirection::ascending
                                                  : TallySortDirection::descending});
}

std::vector<std::size_t> TallyTableModel::rowsOf(const QItemSelection& selection) {
    std::vector<std::pair<int, int>> ranges;
    for (const QItemSelectionRange& range : selection)
        if (range.isValid())
            ranges.emplace_back(range.top(), range.bottom());
    std::ranges::sort(ranges);
    std::vector<std::size_t> rows;
    int next = 0;
    for (const auto& [top, bottom] : ranges) {
        for (int row = std::max(top, next); row <= bottom; ++row)
            rows.push_back(static_cast<std::size_t>(row));
        next = std::max(next, bottom + 1);
    }
    return rows;
}

void TallyTableModel::rowsAboutToBeAppended(std::size_t count) {
    beginInsertRows({}, rowCount(), rowCount() + static_cast<int>(count) - 1);
}

void TallyTableModel::rowsAppended() {
    endInsertRows();
}

void TallyTableModel::rowsAboutToBeCut(std::size_t count) {
    beginRemoveRows({}, rowCount() - static_cast<int>(count), rowCount() - 1);
}

void TallyTableModel::rowsCut() {
    endRemoveRows();
}

void TallyTableModel::rowsAboutToBeRearranged() {
    // The hint lets a selection keep its rows by one index each instead of one a cell.
    emit layoutAboutToBeChanged({}, VerticalSortHint);
}

void TallyTableModel::rowsRearranged(std::span<const std::uint32_t> newPositions) {
    const QModelIndexList from = persistentIndexList();
    QModelIndexList to;
    to.reserve(from.size());
    for (const QModelIndex& old : from)
        to.append(createIndex(static_cast<int>(newPositions[static_cast<std::size_t>(old.row())]),
                              old.column()));
    changePersistentIndexList(from, to);
    emit layoutChanged({}, VerticalSortHint);
}

void TallyTableModel::aboutToBeReset() {
    flushTimer_.stop();
    beginResetModel();
}

void TallyTableModel::wasReset() {
    endResetModel();
    emit countsUpdated();
}

void TallyTableModel::rowChanged(std::size_t position) {
    const int row = static_cast<int>(position);
    emit dataChanged(index(row, 0), index(row, columnCount() - 1));
}

void TallyTableModel::countsChanged() {
    if (rowCount() > 0)
        emit dataChanged(index(0, 0), index(rowCount() - 1, columnCount() - 1));
    emit countsUpdated();
}

void TallyTableModel::flushWanted() {
    if (flushTimer_.isActive())
        return;
    const qint64 waited = sinceFlush_.isValid() ? sinceFlush_.elapsed() : kFlushIntervalMs;
    flushTimer_.start(static_cast<int>(std::max<qint64>(0, kFlushIntervalMs - waited)));
}

} // namespace brindle
