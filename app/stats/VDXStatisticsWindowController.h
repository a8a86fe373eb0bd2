// SPDX-License-Identifier: BSD-2-Clause
//
// A statistics window: the caption, a table of the ports of one address or the addresses of one
// port, and the pie chart of the same breakdown. Its content is what it opened with, for ever. The
// opener registers it under its "logs_" name, where it stays after the window closed: presented
// again, it shows the same. Main thread.
#pragma once

#include "app/AppContext.h"
#include "app/stats/StatisticsWording.h"
#include "app/tallies/TallyArrayController.h"
#include "app/tallies/TallyTableModel.h"
#include "core/stats/TallyRows.h"

#include <QMainWindow>
#include <QObject>

#include <cstddef>
#include <memory>
#include <optional>
#include <string>

namespace brindle {

class StatisticsActions;
class VDXPieChart;
namespace Ui {
class VDXStatisticsWindowController;
}

class VDXStatisticsWindowController final : public QObject, public WindowController {
    Q_OBJECT
  public:
    /// Shows the window. `opening`: the information's `obj` is "ip" or "port". The context outlives
    /// the controller.
    VDXStatisticsWindowController(AppContext& context, StatisticsOpening opening);
    ~VDXStatisticsWindowController() override;

    void present() override;
    void close() override;

    QMainWindow* window() const { return window_.get(); }
    /// Key in `windowControllers`.
    const std::string& name() const { return name_; }

  private:
    void windowDidLoad(const StatisticsOpening& opening);
    void addPieChart(std::vector<std::int64_t> info);
    void fillTable();
    void connectActions();
    void resizeToContent();
    void resolveNations();
    void showSlice(std::optional<std::size_t> slice);
    void copy();
    void sortAsChart();

    AppContext& context_;
    const std::string name_;
    const std::string obj_; ///< what is inspected: "ip", the rows are ports; "port": addresses
    TallyRows arrayforcontroller_;
    TallyArrayController statisticsArrayController_;
    const TallyTableKind kind_;
    TallyTableModel model_;
    std::unique_ptr<QMainWindow> window_;
    std::unique_ptr<Ui::VDXStatisticsWindowController> ui_;
    StatisticsFacts facts_;
    StatisticsActions* actions_ = nullptr; ///< a child of the window
    VDXPieChart* pieChart_ = nullptr;      ///< a child of pieChartView
};

} // namespace brindle
