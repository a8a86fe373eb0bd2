// SPDX-License-Identifier: BSD-2-Clause
#include "app/logs/table/LogsTableModel.h"

#include "app/logs/table/LogColumn.h"
#include "app/logs/table/LogsArrayController.h"
#include "core/log/records/PacketRecord.h"

#include <algorithm>

namespace brindle {
namespace {

const std::string& noUidText() {
    static const std::string text = std::to_string(kNoUid);
    return text;
}

LogColumn columnAt(int section) {
    return static_cast<LogColumn>(section);
}

QString toQString(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

QVariant textOrNothing(const std::string& text) {
    return text.empty() ? QVariant() : QVariant(toQString(text));
}

int alignmentFlags(ColumnAlignment alignment) {
    switch (alignment) {
    case ColumnAlignment::right:
        return Qt::AlignRight | Qt::AlignVCenter;
    case ColumnAlignment::center:
        return Qt::AlignCenter;
    case ColumnAlignment::left:
        break;
    }
    return Qt::AlignLeft | Qt::AlignVCenter;
}

} // namespace

LogsTableModel::LogsTableModel(LogsArrayController& controller, PictureSource& pictures,
                               QObject* parent)
    : QAbstractTableModel(parent), controller_(controller), pictures_(pictures) {
    controller_.setObserver(this);
}

LogsTableModel::~LogsTableModel() {
    controller_.setObserver(nullptr);
}

int LogsTableModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(controller_.arrangedCount());
}

int LogsTableModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(kLogColumnCount);
}

QVariant LogsTableModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const LogColumn column = columnAt(index.column());
    if (role == Qt::TextAlignmentRole)
        return alignmentFlags(describe(column).alignment);
    const VDXLog& log = controller_.arrangedLog(static_cast<std::size_t>(index.row()));
    switch (role) {
    case Qt::DisplayRole:
        // The picture says it.
        if (column == LogColumn::actionDirection)
            return {};
        // Most rows have no user: a column full of the number that says so hides those that have.
        if (column == LogColumn::user && log.text(LogField::uid) == noUidText())
            return log.text(LogField::username).empty()
                       ? QVariant(QStringLiteral("–"))
                       : QVariant(toQString(columnText(log, column)));
        return toQString(columnText(log, column));
    case Qt::AccessibleTextRole:
        return toQString(columnText(log, column));
    case Qt::DecorationRole: {
        if (!describe(column).picture)
            return {};
        const Picture picture =
            column == LogColumn::user ? log.usericon() : log.imageActionDirection();
        const QIcon icon = picture.isEmpty() ? QIcon() : pictures_.forPicture(picture);
        return icon.isNull() ? QVariant() : QVariant(icon);
    }
    case Qt::ToolTipRole:
        return textOrNothing(columnToolTip(log, column));
    default:
        return {};
    }
}

QVariant LogsTableModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || section < 0 || section >= columnCount())
        return {};
    const LogColumnInfo& info = describe(columnAt(section));
    switch (role) {
    case Qt::DisplayRole:
        return toQString(info.title);
    case Qt::ToolTipRole:
        return toQString(info.toolTip);
    case Qt::AccessibleTextRole:
        return toQString(info.title.empty() ? "Action and direction" : info.title);
    case Qt::TextAlignmentRole:
        return alignmentFlags(info.alignment);
    default:
        return {};
    }
}

void LogsTableModel::sort(int column, Qt::SortOrder order) {
    if (column < 0 || column >= columnCount()) {
        controller_.setSort(std::nullopt);
        return;
    }
    controller_.setSort(SortOrder{columnAt(column), order == Qt::AscendingOrder
                                                        ? SortDirection::ascending
                                                        : SortDirection::descending});
}

std::vector<std::uint32_t> LogsTableModel::rowsOf(const QItemSelection& selection) {
    std::vector<std::pair<int, int>> ranges;
    for (const QItemSelectionRange& range : selection)
        if (range.isValid())
            ranges.emplace_back(range.top(), range.bottom());
    std::ranges::sort(ranges);
    std::vector<std::uint32_t> rows;
    int next = 0;
    for (const auto& [top, bottom] : ranges) {
        for (int row = std::max(top, next); row <= bottom; ++row)
            rows.push_back(static_cast<std::uint32_t>(row));
        next = std::max(next, bottom + 1);
    }
    return rows;
}

void LogsTableModel::picturesChanged() {
    if (rowCount() == 0)
        return;
    for (const LogColumn column : allLogColumns())
        if (describe(column).picture)
            emit dataChanged(index(0, static_cast<int>(column)),
                             index(rowCount() - 1, static_cast<int>(column)), {Qt::DecorationRole});
}

void LogsTableModel::rowsAboutToBeInserted(std::size_t first, std::size_t count) {
    beginInsertRows({}, static_cast<int>(first), static_cast<int>(first + count) - 1);
}

void LogsTableModel::rowsInserted() {
    endInsertRows();
}

void LogsTableModel::rowsAboutToBeRemoved(std::size_t first, std::size_t count) {
    beginRemoveRows({}, static_cast<int>(first), static_cast<int>(first + count) - 1);
}

void LogsTableModel::rowsRemoved() {
    endRemoveRows();
}

void LogsTableModel::rowsAboutToBeRearranged() {
    // The hint lets a selection keep its rows by one index each instead of one a cell.
    emit layoutAboutToBeChanged({}, VerticalSortHint);
}

void LogsTableModel::rowsRearranged(std::span<const std::uint32_t> newPositions) {
    const QModelIndexList from = persistentIndexList();
    QModelIndexList to;
    to.reserve(from.size());
    for (const QModelIndex& old : from)
        to.append(createIndex(static_cast<int>(newPositions[static_cast<std::size_t>(old.row())]),
                              old.column()));
    changePersistentIndexList(from, to);
    emit layoutChanged({}, VerticalSortHint);
}

void LogsTableModel::aboutToBeCleared() {
    beginResetModel();
}

void LogsTableModel::cleared() {
    endResetModel();
}

void LogsTableModel::rowChanged(std::size_t position) {
    const int row = static_cast<int>(position);
    emit dataChanged(index(row, 0), index(row, columnCount() - 1));
}

void LogsTableModel::arrangementCountsChanged() {
    emit countsChanged();
}

} // namespace brindle
