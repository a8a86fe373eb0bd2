// SPDX-License-Identifier: BSD-2-Clause
#include "app/exclusions/ExclusionsTableModel.h"

#include "app/exclusions/ExclusionWording.h"

#include <algorithm>

namespace brindle {

void ExclusionsTableModel::setContent(const std::vector<VDXExclusion>& exclusionList) {
    const auto kept = static_cast<std::ptrdiff_t>(content_.size());
    const bool onlyAppended = content_.size() <= exclusionList.size() &&
                              std::equal(content_.begin(), content_.end(), exclusionList.begin());
    if (!onlyAppended) {
        beginResetModel();
        content_ = exclusionList;
        endResetModel();
    } else if (content_.size() < exclusionList.size()) {
        beginInsertRows({}, static_cast<int>(kept), static_cast<int>(exclusionList.size()) - 1);
        content_.insert(content_.end(), exclusionList.begin() + kept, exclusionList.end());
        endInsertRows();
    }
}

int ExclusionsTableModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(content_.size());
}

int ExclusionsTableModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(ExclusionColumn::count);
}

QVariant ExclusionsTableModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid)) {
        return {};
    }
    const VDXExclusion& entry = exclusion(index.row());
    if (role == Qt::ToolTipRole) {
        return describe(entry);
    }
    if (role != Qt::DisplayRole) {
        return {};
    }
    switch (static_cast<ExclusionColumn>(index.column())) {
    case ExclusionColumn::type:
        return typeText(entry);
    case ExclusionColumn::exclusion:
        return QString::fromStdString(entry.exclusion);
    case ExclusionColumn::versionIP:
        return familyText(entry);
    case ExclusionColumn::count:
        break;
    }
    return {};
}

QVariant ExclusionsTableModel::headerData(int section, Qt::Orientation orientation,
                                          int role) const {
    if (orientation != Qt::Horizontal) {
        return {};
    }
    if (role == Qt::TextAlignmentRole) {
        return int(Qt::AlignLeading | Qt::AlignVCenter);
    }
    if (role != Qt::DisplayRole) {
        return {};
    }
    switch (static_cast<ExclusionColumn>(section)) {
    case ExclusionColumn::type:
        return tr("Type");
    case ExclusionColumn::exclusion:
        return tr("Exclusion");
    case ExclusionColumn::versionIP:
        return tr("Family");
    case ExclusionColumn::count:
        break;
    }
    return {};
}

} // namespace brindle
