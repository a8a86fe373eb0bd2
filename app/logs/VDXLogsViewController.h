// SPDX-License-Identifier: BSD-2-Clause
//
// The content of the logs window: the table of records, filled by one query for a period or, in
// live mode, by a short query for today and then by the live feed; the filter over it; and what can
// be done with the selected rows. Made by the logs window's controller, which registers `entry()`
// under "logs" before it loads the view. Main thread.
#pragma once

#include "app/AppContext.h"
#include "app/logs/LiveRows.h"
#include "app/logs/LogFill.h"
#include "app/logs/RowPictures.h"
#include "app/logs/Wording.h"
#include "app/logs/table/FilterExpression.h"
#include "app/logs/table/LogsArrayController.h"
#include "app/logs/table/LogsTableModel.h"
#include "app/logs/table/RowExport.h"

#include <QTimer>
#include <QVariant>
#include <QWidget>

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

class QMenu;

namespace brindle {

class LogsTable;
namespace Ui {
class VDXLogsViewController;
}

class VDXLogsViewController final : public QWidget, public LogsView {
    Q_OBJECT
  public:
    explicit VDXLogsViewController(AppContext& context, QWidget* parent = nullptr);
    ~VDXLogsViewController() override;

    /// What the registry holds for this view; its flag `needrealtime` is the view's mode.
    const std::shared_ptr<ViewEntry>& entry() const { return entry_; }
    /// Starts the first query. Once, after the mode was set.
    void viewDidLoad();
    /// Abandons every query. The view takes nothing any more.
    void viewWillClose();

    void queryLogs(LogsMode mode, std::optional<double> from, std::optional<double> to,
                   std::optional<std::int64_t> limit) override;
    void selectLogMode(int index) override;
    void addLiveRecord(const RecordDictionary& record) override;
    std::int64_t rowCount() const override;

    /// Rebuilds the exclusion menu for the first selected row.
    void menuWillOpen(QMenu* menu);

    /// Rows of the table and of the selection, the mode, whether an answer is arriving.
    LogsStatus status() const;
    bool isFiltered() const { return typedFilter_ && !typedFilter_->empty(); }
    std::size_t shownCount() const { return controller_.arrangedCount(); }
    /// How far the answer for a period is; nothing when none is arriving.
    std::optional<double> progress(std::optional<double> oldest) const;
    std::uint64_t takeArrived() { return live_.takeArrived(); }
    LogsTable& table() { return *table_; }

  public slots:
    void doubleClickTableView();
    void copySrcAddresses();
    void copyDstAddresses();
    void copyRows();
    void blacklistSrcAddresses();
    void blacklistDstAddresses();
    void showHelp() {} ///< has no effect
    /// `representedObject`: a VDXExclusion; anything else is ignored.
    void clickExclusion(const QVariant& representedObject);
    void setFilterText(const QString& text);
    /// Abandons the answers that are arriving for a period.
    void stopQueries();
    /// Quits the application.
    void terminate();

  signals:
    /// status(), shownCount() or progress() may have changed.
    void changed();
    void filterMistaken(const brindle::FilterError& mistake);
    void filterUnderstood();
    void contextMenuRequested(const QPoint& globalPosition);

  protected:
    void changeEvent(QEvent* event) override;

  private:
    void startFill(const FillRequest& request);
    void fillOver(LogFill& fill, FillOutcome outcome);
    void applyFilter();
    void suspendFilter();
    void flushLive();
    using Clock = std::chrono::steady_clock;
    void resolveRows(std::shared_ptr<const std::vector<LogId>> rows, std::size_t first,
                     Clock::time_point clicked);
    std::vector<std::uint32_t> selectedRows() const;
    void copyAddresses(AddressSide side);
    void blackList(AddressSide side);
    void tableChanged();

    AppContext& context_;
    const std::shared_ptr<ViewEntry> entry_;
    const std::unique_ptr<Ui::VDXLogsViewController> ui_;
    LogsTable* table_ = nullptr;

    RowPictures pictures_;
    LogsArrayController controller_;
    LogsTableModel model_{controller_, pictures_};
    LiveRows live_;
    QTimer liveTimer_;

    std::vector<std::shared_ptr<LogFill>> fills_; ///< under way, oldest first
    std::shared_ptr<const FilterExpression> typedFilter_;
    bool stopped_ = false;
    bool paintPending_ = false; ///< rows came whose first painting is worth a trace event
};

} // namespace brindle

Q_DECLARE_METATYPE(brindle::VDXExclusion)
