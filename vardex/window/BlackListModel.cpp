// SPDX-License-Identifier: BSD-2-Clause
#include "vardex/window/BlackListModel.h"

#include "app/images/PictureStore.h"

#include <QDateTime>
#include <QGuiApplication>
#include <QLocale>
#include <QPalette>

namespace brindle::vardex {
namespace {

const QSize kFlagSize(20, 15);

QString addedText(std::int64_t epoch) {
    static const QLocale posix(QStringLiteral("en_US_POSIX"));
    return posix.toString(QDateTime::fromSecsSinceEpoch(epoch),
                          QStringLiteral("yyyy/MM/dd' 'HH:mm:ss"));
}

} // namespace

BlackListModel::BlackListModel(const Keeper& keeper, const NationFinder& nations,
                               PictureStore& pictures, QObject* parent)
    : QAbstractTableModel(parent), keeper_(keeper), nations_(nations), pictures_(pictures),
      list_(keeper.list()) {
    connect(&keeper, &Keeper::changed, this, &BlackListModel::follow);
    connect(&nations, &NationFinder::ready, this, [this] { redraw(Nation, Nation); });
}

int BlackListModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(list_.size());
}

int BlackListModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : ColumnCount;
}

QVariant BlackListModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid)) {
        return {};
    }
    const BlackListEntry& one = entry(index.row());
    if (role == Qt::DecorationRole && index.column() == Nation) {
        const Picture flag = nations_.find(one.block).flag;
        return flag.isEmpty() ? QVariant()
                              : pictures_.image(flag, kFlagSize, qGuiApp->devicePixelRatio(),
                                                QGuiApplication::palette());
    }
    if (role != Qt::DisplayRole && role != Qt::ToolTipRole) {
        return {};
    }
    switch (index.column()) {
    case Address:
        return QString::fromStdString(one.block.text());
    case Nation:
        return nations_.find(one.block).name;
    case Added:
        return addedText(one.added);
    default:
        return stateText(one);
    }
}

QVariant BlackListModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole) {
        return {};
    }
    switch (section) {
    case Address:
        return tr("Address");
    case Nation:
        return tr("Nation");
    case Added:
        return tr("Added");
    default:
        return tr("State");
    }
}

QString BlackListModel::stateText(const BlackListEntry& one) const {
    if (const std::string reason = keeper_.refusalOf(one); !reason.empty()) {
        return tr("Refused: %1").arg(QString::fromStdString(reason));
    }
    if (keeper_.isBlocked(one)) {
        return tr("Blocked");
    }
    return keeper_.standing() == Keeper::Standing::applying ? tr("Being applied")
                                                            : tr("Not applied");
}

void BlackListModel::follow() {
    if (keeper_.list() == list_) {
        redraw(State, State);
        return;
    }
    beginResetModel();
    list_ = keeper_.list();
    endResetModel();
}

void BlackListModel::redraw(Column first, Column last) {
    if (!list_.empty()) {
        emit dataChanged(index(0, first), index(rowCount() - 1, last));
    }
}

BlackListOrder::BlackListOrder(BlackListModel& model, QObject* parent)
    : QSortFilterProxyModel(parent), model_(model) {
    setSourceModel(&model);
}

void BlackListOrder::search(const QString& text) {
    text_ = text.trimmed();
    block_ = AddressBlock::parse(text_.toStdString());
    // Anew as a whole: taking scattered rows out one by one takes minutes with a long list.
    invalidate();
}

bool BlackListOrder::lessThan(const QModelIndex& left, const QModelIndex& right) const {
    const BlackListEntry& a = model_.entry(left.row());
    const BlackListEntry& b = model_.entry(right.row());
    switch (left.column()) {
    case BlackListModel::Address:
        return a.block < b.block;
    case BlackListModel::Added:
        return a.added < b.added;
    default:
        return QString::localeAwareCompare(left.data().toString(), right.data().toString()) < 0;
    }
}

bool BlackListOrder::filterAcceptsRow(int row, const QModelIndex&) const {
    if (text_.isEmpty() || (block_ && model_.entry(row).block.overlaps(*block_))) {
        return true;
    }
    // Not the time: nobody searches for it, and writing it costs more than all the rest.
    for (const int column :
         {BlackListModel::Address, BlackListModel::Nation, BlackListModel::State}) {
        if (model_.index(row, column).data().toString().contains(text_, Qt::CaseInsensitive)) {
            return true;
        }
    }
    return false;
}

} // namespace brindle::vardex
