// SPDX-License-Identifier: BSD-2-Clause
#include "app/stats/VDXStatisticsWindowController.h"

#include "app/WindowParts.h"
#include "app/images/PictureIcon.h"
#include "app/images/WindowPicture.h"
#include "app/stats/PieTableLink.h"
#include "app/stats/StatisticsActions.h"
#include "app/stats/StatisticsOutput.h"
#include "app/stats/VDXPieChart.h"
#include "core/stats/TallyColours.h"
#include "core/stats/VisibleNations.h"

#include <QApplication>
#include <QClipboard>
#include <QHeaderView>
#include <QMenuBar>
#include <QScreen>

#include <algorithm>
#include <numeric>
#include <utility>

#include "ui_VDXStatisticsWindowController.h"

namespace brindle {
namespace {

constexpr double kPieRadius = 70.0;
constexpr QRect kPieFrame(0, 0, 150, 150);
constexpr QSize kSmallest(440, 340);
constexpr int kHeaderMargins = 60; ///< left, between chart and texts, and right
constexpr int kUsualWidth = 520;
constexpr std::size_t kFewestRowsOfRoom = 6;
constexpr std::size_t kMostRowsOfRoom = 16;
constexpr double kCaptionScale = 1.3;

} // namespace

VDXStatisticsWindowController::VDXStatisticsWindowController(AppContext& context,
                                                             StatisticsOpening opening)
    : context_(context), name_(std::move(opening.name)), obj_(opening.information.obj),
      statisticsArrayController_(arrayforcontroller_),
      kind_(obj_ == "port" ? TallyTableKind::addressesOfPort : TallyTableKind::portsOfAddress),
      model_(statisticsArrayController_, tallyColumns(kind_)),
      window_(std::make_unique<QMainWindow>()),
      ui_(std::make_unique<Ui::VDXStatisticsWindowController>()) {
    ui_->setupUi(window_.get());
    windowDidLoad(opening);
    present();
    context_.console(obj_);
    if (obj_ == "port") {
        resolveNations();
        connect(ui_->tableviewStatistics, &TallyTable::visibleRowsChanged, this,
                &VDXStatisticsWindowController::resolveNations);
    }
}

VDXStatisticsWindowController::~VDXStatisticsWindowController() {
    // While the window goes, piece by piece, nothing of it is shown or looked up any more.
    pieChart_->disconnect(this);
    ui_->tableviewStatistics->disconnect(this);
}

void VDXStatisticsWindowController::present() {
    bringToFront(*window_);
}

void VDXStatisticsWindowController::close() {
    window_->close();
}

void VDXStatisticsWindowController::windowDidLoad(const StatisticsOpening& opening) {
    addPieChart(opening.information.arrayforpiechart);
    arrayforcontroller_.replace(opening.information.arrayforcontroller);
    facts_ = {.kind = kind_,
              .rows = statisticsArrayController_.count(),
              .records = statisticsArrayController_.total(),
              .since = context_.periods.listsStartEpoch,
              .connected = context_.helper->standingConnection() != nullptr};
    fillTable();

    const QString caption = QString::fromStdString(opening.caption);
    QFont font = ui_->inspectedElement->font();
    font.setPointSizeF(font.pointSizeF() * kCaptionScale);
    font.setBold(true);
    ui_->inspectedElement->setFont(font);
    ui_->inspectedElement->setText(caption);
    ui_->totals->setText(totalsText(facts_));
    ui_->sliceCount->setForegroundRole(QPalette::PlaceholderText);
    ui_->line->setForegroundRole(QPalette::Mid);
    window_->setWindowTitle(StatisticsActions::tr("%1 – Statistics").arg(caption));
    window_->setWindowIcon(pictureIcon(*context_.pictures, QStringLiteral("brindle")));

    actions_ = new StatisticsActions(window_.get());
    connectActions();
    resizeToContent();
    auto* picture =
        new WindowPicture(window_.get(), QString::fromStdString(context_.picturesDirectory),
                          QStringLiteral("statistics"));
    // The sentence in an empty table is content too.
    picture->contentChanged(std::max<std::int64_t>(1, static_cast<std::int64_t>(facts_.rows)));
}

void VDXStatisticsWindowController::addPieChart(std::vector<std::int64_t> info) {
    pieChart_ = new VDXPieChart(ui_->pieChartView);
    pieChart_->setGeometry(kPieFrame);
    pieChart_->setColori(tallyColours());
    pieChart_->setRadius(kPieRadius);
    pieChart_->setInfo(std::move(info));
    pieChart_->setLabels([this](std::size_t entry) {
        return entry < arrayforcontroller_.size() ? entryName(*arrayforcontroller_.at(entry))
                                                  : QString();
    });
    connect(pieChart_, &VDXPieChart::highlightChanged, this,
            &VDXStatisticsWindowController::showSlice);
}

void VDXStatisticsWindowController::fillTable() {
    TallyTable* const table = ui_->tableviewStatistics;
    statisticsArrayController_.setSort(
        {.column = TallyColumn::legend, .direction = TallySortDirection::ascending});
    table->setPictures(*context_.pictures);
    table->setModel(&model_);
    sortAsChart();
    table->setEmptyText(emptyStatisticsText(facts_));
    new PieTableLink(*pieChart_, *table);
    table->setFocus();
}

void VDXStatisticsWindowController::connectActions() {
    const TallyTable* const table = ui_->tableviewStatistics;
    auto* output = new StatisticsOutput(window_.get(), {.caption = ui_->inspectedElement->text(),
                                                        .totals = ui_->totals->text(),
                                                        .pie = pieChart_->pie(),
                                                        .rows = statisticsArrayController_,
                                                        .columns = model_.columns(),
                                                        .family = table->font().family()});
    connect(actions_->savePng, &QAction::triggered, output, &StatisticsOutput::savePng);
    connect(actions_->saveSvg, &QAction::triggered, output, &StatisticsOutput::saveSvg);
    connect(actions_->saveCsv, &QAction::triggered, output, &StatisticsOutput::saveCsv);
    connect(actions_->print, &QAction::triggered, output, &StatisticsOutput::print);
    connect(actions_->close, &QAction::triggered, window_.get(), &QWidget::close);
    connect(actions_->quit, &QAction::triggered, qApp, &QCoreApplication::quit);
    connect(actions_->copy, &QAction::triggered, this, &VDXStatisticsWindowController::copy);
    connect(actions_->selectAll, &QAction::triggered, table, &QTableView::selectAll);
    connect(actions_->sortAsChart, &QAction::triggered, this,
            &VDXStatisticsWindowController::sortAsChart);
    ui_->tableviewStatistics->setMenu(actions_->tableMenu);
}

void VDXStatisticsWindowController::resizeToContent() {
    const TallyTable* const table = ui_->tableviewStatistics;
    const int rows = static_cast<int>(std::clamp(facts_.rows, kFewestRowsOfRoom, kMostRowsOfRoom));
    const int height = window_->menuBar()->sizeHint().height() + ui_->header->sizeHint().height() +
                       table->horizontalHeader()->height() +
                       (rows + 1) * table->verticalHeader()->defaultSectionSize();
    const auto textWidth = [](const QLabel* label) {
        return label->fontMetrics().horizontalAdvance(label->text());
    };
    const int width =
        std::max({kUsualWidth, table->comfortableWidth(),
                  kPieFrame.width() + kHeaderMargins +
                      std::max(textWidth(ui_->inspectedElement), textWidth(ui_->totals))});
    window_->setMinimumSize(kSmallest);
    window_->resize(QSize(width, height).boundedTo(window_->screen()->availableSize() * 0.9));
}

void VDXStatisticsWindowController::resolveNations() {
    resolveVisibleNations(
        ui_->tableviewStatistics->visibleRows(),
        [this](std::size_t place) -> VisualizerObj& {
            return *statisticsArrayController_.arrangedRow(place);
        },
        context_.tallies);
}

/// The highlighted slice in words, beside the chart.
void VDXStatisticsWindowController::showSlice(std::optional<std::size_t> slice) {
    const bool known = slice && pieChart_->pie().total() > 0;
    const QString name = known ? pieChart_->sliceName(*slice) : QString();
    ui_->sliceName->setText(
        ui_->sliceName->fontMetrics().elidedText(name, Qt::ElideMiddle, ui_->sliceName->width()));
    ui_->sliceCount->setText(known ? pieChart_->sliceCount(*slice) : QString());
}

void VDXStatisticsWindowController::copy() {
    auto positions =
        TallyTableModel::rowsOf(ui_->tableviewStatistics->selectionModel()->selection());
    if (positions.empty()) {
        positions.resize(statisticsArrayController_.arrangedCount());
        std::iota(positions.begin(), positions.end(), std::size_t{0});
    }
    QApplication::clipboard()->setText(
        copiedText(statisticsArrayController_, positions, model_.columns()));
}

void VDXStatisticsWindowController::sortAsChart() {
    ui_->tableviewStatistics->sortByColumn(-1, Qt::AscendingOrder);
}

} // namespace brindle
