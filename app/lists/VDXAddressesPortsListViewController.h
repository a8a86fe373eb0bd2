// SPDX-License-Identifier: BSD-2-Clause
//
// A list window's content: the addresses and the destination ports of one action and direction,
// each with its filter, the period menu and the status line. While it is registered it counts live
// records; it owns the tallies. Made and registered by its window's controller; main thread.
#pragma once

#include "app/AppContext.h"
#include "app/lists/ListWording.h"
#include "app/tallies/TallyArrayController.h"
#include "app/tallies/TallyTableModel.h"
#include "core/stats/TallySet.h"

#include <QTimer>
#include <QVariant>
#include <QWidget>

#include <memory>
#include <vector>

class QMenu;

namespace brindle {

class ListActions;
class TallyTable;
class WindowPicture;
namespace Ui {
class VDXAddressesPortsListViewController;
}

class VDXAddressesPortsListViewController final : public QWidget, public ListView {
    Q_OBJECT
  public:
    /// Both outlive the view. `info`: which list; an action or direction that is missing counts as
    /// "pass" and "out".
    VDXAddressesPortsListViewController(AppContext& context, const ListOpening& info,
                                        ListActions& actions, QWidget* parent = nullptr);
    ~VDXAddressesPortsListViewController() override;

    /// Registered under the list's name.
    const std::shared_ptr<ViewEntry>& entry() const { return entry_; }
    void viewDidLoad();
    void viewWillClose();
    /// At which no column is cut.
    int comfortableWidth() const;

    void countLiveRecord(const LiveRecordDictionary& record) override;
    void reloadTallies() override;

  public slots:
    /// `item`: 0 since boot, 1 last week, 2 last month.
    void popupChangeSinceLog(int item);
    void showStatisticsIP();
    void showStatisticsPORT();
    void doubleClickTableView();
    void copyAddresses();
    void sendToVardex();
    void ignore_port();
    void menuWillOpen(QMenu* menu);
    void clickExclusion(const QVariant& representedObject);

  protected:
    void showEvent(QShowEvent* event) override;
    void changeEvent(QEvent* event) override;

  private:
    using Rows = std::vector<TallyRows::Row>;

    void prepareControls();
    void connectActions();
    void connectTables();
    void drawVerdict();
    void resolveNations();
    void resolveRows(std::shared_ptr<const Rows> rows, std::size_t first);
    static Rows selectedRows(const TallyTable& table);
    static std::vector<std::string> originalLabels(const Rows& rows);
    ListStatus status() const;
    void showState();
    void measureRate();

    AppContext& context_;
    ListActions& actions_;
    const std::string name_;
    const std::shared_ptr<ViewEntry> entry_;
    TallySet tallies_;
    TallyArrayController ipArrayController_;
    TallyArrayController portArrayController_;
    TallyTableModel addressModel_;
    TallyTableModel portModel_;
    std::unique_ptr<Ui::VDXAddressesPortsListViewController> ui_;
    TallyTable* tableviewIP_ = nullptr;
    TallyTable* tableviewPORT_ = nullptr;
    WindowPicture* picture_ = nullptr;

    QTimer rateTimer_;
    std::int64_t countedBefore_ = 0; ///< a second ago
    std::int64_t liveRate_ = 0;
};

} // namespace brindle
