// SPDX-License-Identifier: BSD-2-Clause
//
// The logs table as the toolkit's views see it: a thin shell over the array controller, without any
// object per row. Owned by the logs window; main thread. It is the controller's observer for as
// long as it lives.
//
//     LogsTableModel model(controller, pictures);
//     tableView->setModel(&model);
//     connect(&model, &LogsTableModel::countsChanged, this, &Window::showCounts);
#pragma once

#include "app/logs/table/ArrangementObserver.h"
#include "app/logs/table/PictureSource.h"

#include <QAbstractTableModel>
#include <QItemSelection>

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace brindle {

class LogsArrayController;

class LogsTableModel final : public QAbstractTableModel, private ArrangementObserver {
    Q_OBJECT
  public:
    /// Both outlive the model.
    LogsTableModel(LogsArrayController& controller, PictureSource& pictures,
                   QObject* parent = nullptr);
    ~LogsTableModel() override;

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation,
                        int role = Qt::DisplayRole) const override;
    /// A negative column gives insertion order. Many rows are sorted later, off the main thread.
    void sort(int column, Qt::SortOrder order = Qt::AscendingOrder) override;

    /// Positions of the selected rows, ascending, each once.
    static std::vector<std::uint32_t> rowsOf(const QItemSelection& selection);

  public slots:
    /// Pictures that were missing can be had now.
    void picturesChanged();

  signals:
    /// The controller's count(), arrangedCount() or isArranging() may have changed; at most a few
    /// times a turn.
    void countsChanged();

  private:
    void rowsAboutToBeInserted(std::size_t first, std::size_t count) override;
    void rowsInserted() override;
    void rowsAboutToBeRemoved(std::size_t first, std::size_t count) override;
    void rowsRemoved() override;
    void rowsAboutToBeRearranged() override;
    void rowsRearranged(std::span<const std::uint32_t> newPositions) override;
    void aboutToBeCleared() override;
    void cleared() override;
    void rowChanged(std::size_t position) override;
    void arrangementCountsChanged() override;

    LogsArrayController& controller_;
    PictureSource& pictures_;
};

} // namespace brindle
