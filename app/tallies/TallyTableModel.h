// SPDX-License-Identifier: BSD-2-Clause
//
// A tally table as the toolkit's views see it: a thin shell over the array controller, without any
// object per row. It has what was gathered shown, four times a second at most. Owned by the view
// that owns the controller; main thread.
//
//     TallyTableModel model(controller, tallyColumns(TallyTableKind::listedAddresses));
//     table->setModel(&model);
#pragma once

#include "app/tallies/TallyArrayController.h"
#include "app/tallies/TallyColumn.h"
#include "core/log/records/Picture.h"

#include <QAbstractTableModel>
#include <QElapsedTimer>
#include <QItemSelection>
#include <QTimer>

#include <cstdint>
#include <span>
#include <vector>

namespace brindle {

/// What the delegate paints with, besides the standard roles.
enum TallyRole {
    kTallyPictureRole = Qt::UserRole, ///< Picture: the nation's flag
    kTallyBarRole,                    ///< double, 0 to 1: the share against the largest one
    kTallyColourRole,                 ///< QColor: the legend's
};

class TallyTableModel final : public QAbstractTableModel, private TallyArrangementObserver {
    Q_OBJECT
  public:
    /// The controller outlives the model; `columns` are those of tallyColumns.
    TallyTableModel(TallyArrayController& controller, std::span<const TallyColumn> columns,
                    QObject* parent = nullptr);
    ~TallyTableModel() override;

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation,
                        int role = Qt::DisplayRole) const override;
    void sort(int column, Qt::SortOrder order = Qt::AscendingOrder) override;

    TallyArrayController& controller() const { return controller_; }
    std::span<const TallyColumn> columns() const { return columns_; }
    TallyColumn columnAt(int section) const { return columns_[static_cast<std::size_t>(section)]; }
    /// -1 when the table does not show it.
    int sectionOf(TallyColumn column) const;

    /// Positions of the selected rows, ascending, each once.
    static std::vector<std::size_t> rowsOf(const QItemSelection& selection);

  signals:
    /// Rows, shown or not, or their total may have changed.
    void countsUpdated();

  private:
    void rowsAboutToBeAppended(std::size_t count) override;
    void rowsAppended() override;
    void rowsAboutToBeCut(std::size_t count) override;
    void rowsCut() override;
    void rowsAboutToBeRearranged() override;
    void rowsRearranged(std::span<const std::uint32_t> newPositions) override;
    void aboutToBeReset() override;
    void wasReset() override;
    void rowChanged(std::size_t position) override;
    void countsChanged() override;
    void flushWanted() override;

    TallyArrayController& controller_;
    const std::span<const TallyColumn> columns_;
    QTimer flushTimer_;
    QElapsedTimer sinceFlush_;
};

} // namespace brindle
