// SPDX-License-Identifier: BSD-2-Clause
//
// The black list as the window's table shows it: a row an entry, and how it stands with the packet
// filter. Follows the keeper; main thread.
#pragma once

#include "vardex/companion/Keeper.h"
#include "vardex/window/NationFinder.h"

#include <QAbstractTableModel>
#include <QSortFilterProxyModel>
#include <QString>

#include <optional>

namespace brindle {
class PictureStore;
}

namespace brindle::vardex {

class BlackListModel final : public QAbstractTableModel {
    Q_OBJECT
  public:
    enum Column { Address, Nation, Added, State, ColumnCount };

    BlackListModel(const Keeper& keeper, const NationFinder& nations, PictureStore& pictures,
                   QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

    const BlackListEntry& entry(int row) const { return list_[static_cast<std::size_t>(row)]; }
    bool isRefused(int row) const { return !keeper_.refusalOf(entry(row)).empty(); }

  private:
    void follow();
    QString stateText(const BlackListEntry& one) const;
    void redraw(Column first, Column last);

    const Keeper& keeper_;
    const NationFinder& nations_;
    PictureStore& pictures_;
    BlackList list_;
};

/// Sorted and searched. The search finds texts other than times, and the blocks that contain a
/// whole address.
class BlackListOrder final : public QSortFilterProxyModel {
    Q_OBJECT
  public:
    explicit BlackListOrder(BlackListModel& model, QObject* parent = nullptr);

    void search(const QString& text);

  protected:
    bool lessThan(const QModelIndex& left, const QModelIndex& right) const override;
    bool filterAcceptsRow(int row, const QModelIndex& parent) const override;

  private:
    const BlackListModel& model_;
    QString text_;
    std::optional<AddressBlock> block_; ///< when the text is an address
};

} // namespace brindle::vardex
