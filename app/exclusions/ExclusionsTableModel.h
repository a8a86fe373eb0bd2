// SPDX-License-Identifier: BSD-2-Clause
//
// The exclusion list as rows of the editor's table, in list order. A child of its view, main
// thread.
#pragma once

#include "core/exclusions/VDXExclusion.h"

#include <QAbstractTableModel>

#include <vector>

namespace brindle {

enum class ExclusionColumn { type, exclusion, versionIP, count };

class ExclusionsTableModel final : public QAbstractTableModel {
    Q_OBJECT
  public:
    using QAbstractTableModel::QAbstractTableModel;

    /// Shows this list from now on. Rows that stay in front of appended ones are kept as they are,
    /// selection included.
    void setContent(const std::vector<VDXExclusion>& exclusionList);
    const VDXExclusion& exclusion(int row) const {
        return content_.at(static_cast<std::size_t>(row));
    }

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

  private:
    std::vector<VDXExclusion> content_;
};

} // namespace brindle
