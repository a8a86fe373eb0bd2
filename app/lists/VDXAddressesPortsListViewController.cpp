// SPDX-License-Identifier: BSD-2-Clause
#include "app/lists/VDXAddressesPortsListViewController.h"

#include "app/Clock.h"
#include "app/images/PictureStore.h"
#include "app/images/WindowPicture.h"
#include "app/lists/ListActions.h"
#include "app/lists/OpenStatistics.h"
#include "app/tallies/TallyTable.h"
#include "app/trace/Trace.h"
#include "core/exclusions/BlockAround.h"
#include "core/stats/VisibleNations.h"

#include <QApplication>
#include <QClipboard>
#include <QEvent>
#include <QItemSelectionModel>
#include <QMenu>
#include <QPixmap>
#include <QPointer>
#include <QStringList>

#include <algorithm>
#include <utility>

#include "ui_VDXAddressesPortsListViewController.h"

namespace brindle {
namespace {

constexpr int kRateIntervalMs = 1000;
constexpr QSize kVerdictSize(22, 16);
/// Rows whose resolution is started in one turn of the event loop.
constexpr std::size_t kResolvedAtOnce = 100;

std::string orDefault(const std::string& text, const char* whenMissing) {
    return text.empty() ? whenMissing : text;
}

} // namespace

VDXAddressesPortsListViewController::VDXAddressesPortsListViewController(AppContext& context,
                                                                         const ListOpening& info,
                                                                         ListActions& actions,
                                                                         QWidget* parent)
    : QWidget(parent), context_(context), actions_(actions), name_(info.name),
      entry_(std::make_shared<ViewEntry>(static_cast<ListView*>(this))),
      tallies_(context.tallies, orDefault(info.action, "pass"), orDefault(info.direction, "out")),
      ipArrayController_(tallies_.arrayip), portArrayController_(tallies_.arrayport),
      addressModel_(ipArrayController_, tallyColumns(TallyTableKind::listedAddresses)),
      portModel_(portArrayController_, tallyColumns(TallyTableKind::listedPorts)),
      ui_(std::make_unique<Ui::VDXAddressesPortsListViewController>()) {
    ui_->setupUi(this);
    entry_->needrealtime = true;
    tableviewIP_ = ui_->tableviewIP;
    tableviewPORT_ = ui_->tableviewPORT;
    prepareControls();
    connectTables();
    connectActions();
}

VDXAddressesPortsListViewController::~VDXAddressesPortsListViewController() {
    // The registry's copies may outlive the view: nothing reaches it through them any more.
    entry_->list = nullptr;
    if (context_.viewControllers->find(name_) == entry_) {
        context_.viewControllers->remove(name_);
    }
}

void VDXAddressesPortsListViewController::prepareControls() {
    for (TallyTable* table : {tableviewIP_, tableviewPORT_}) {
        table->setPictures(*context_.pictures);
    }
    tableviewIP_->setModel(&addressModel_);
    tableviewPORT_->setModel(&portModel_);
    tableviewIP_->setMenu(actions_.addressMenu);
    tableviewPORT_->setMenu(actions_.portMenu);
    setFocusProxy(tableviewIP_);

    QFont bold = font();
    bold.setBold(true);
    for (QLabel* heading : {ui_->headline, ui_->addressHeading, ui_->portHeading}) {
        heading->setFont(bold);
    }
    ui_->headline->setText(listTitle(tallies_.action(), tallies_.direction()));
    ui_->addressHeading->setText(addressHeading(tallies_.direction()));
    ui_->verdict->setAccessibleName(ui_->headline->text());
    drawVerdict();
    for (QLabel* count : {ui_->addressCount, ui_->portCount}) {
        count->setForegroundRole(QPalette::PlaceholderText);
    }
    for (QFrame* line : {ui_->lineAbove, ui_->lineBelow}) {
        line->setForegroundRole(QPalette::Mid);
    }
    for (FilterField* field : {ui_->addressFilter, ui_->portFilter}) {
        field->setPictures(*context_.pictures);
    }
    // The address table is the one with the longer texts.
    const int addresses = tableviewIP_->comfortableWidth();
    const int ports = tableviewPORT_->comfortableWidth();
    ui_->splitter->setSizes({addresses, ports});
    ui_->splitter->setStretchFactor(0, 3);
    ui_->splitter->setStretchFactor(1, 2);
}

void VDXAddressesPortsListViewController::connectTables() {
    connect(tableviewIP_, &TallyTable::visibleRowsChanged, this,
            &VDXAddressesPortsListViewController::resolveNations);
    connect(tableviewIP_, &QTableView::doubleClicked, this,
            &VDXAddressesPortsListViewController::doubleClickTableView);
    for (TallyTable* table : {tableviewIP_, tableviewPORT_}) {
        connect(table->selectionModel(), &QItemSelectionModel::selectionChanged, this,
                &VDXAddressesPortsListViewController::showState);
        connect(table->tallyModel(), &TallyTableModel::countsUpdated, this,
                &VDXAddressesPortsListViewController::showState);
    }
    const auto filter = [this](FilterField* field, TallyTable* table) {
        connect(field, &QLineEdit::textChanged, table, [table](const QString& text) {
            table->tallyModel()->controller().setFilter(TallyFilter(text.toStdString()));
        });
        connect(field, &FilterField::left, table, [table] { table->setFocus(); });
    };
    filter(ui_->addressFilter, tableviewIP_);
    filter(ui_->portFilter, tableviewPORT_);
    connect(ui_->popupButtonSelectSinceLog, &QComboBox::activated, this,
            &VDXAddressesPortsListViewController::popupChangeSinceLog);
    connect(&rateTimer_, &QTimer::timeout, this, &VDXAddressesPortsListViewController::measureRate);
}

void VDXAddressesPortsListViewController::connectActions() {
    using View = VDXAddressesPortsListViewController;
    const auto on = [this](QAction* action, auto method) {
        connect(action, &QAction::triggered, this, method);
    };
    on(actions_.statisticsOfAddress, &View::showStatisticsIP);
    on(actions_.statisticsOfPort, &View::showStatisticsPORT);
    on(actions_.resolve, &View::doubleClickTableView);
    on(actions_.copyAddresses, &View::copyAddresses);
    on(actions_.sendToVardex, &View::sendToVardex);
    on(actions_.ignorePort, &View::ignore_port);
    on(actions_.findAddress, [this] { ui_->addressFilter->enter(); });
    on(actions_.findPort, [this] { ui_->portFilter->enter(); });
    on(actions_.selectAll,
       [this] { (tableviewPORT_->hasFocus() ? tableviewPORT_ : tableviewIP_)->selectAll(); });
    for (int item = 0; item < static_cast<int>(actions_.periods.size()); ++item) {
        on(actions_.periods[static_cast<std::size_t>(item)],
           [this, item] { popupChangeSinceLog(item); });
    }
    connect(actions_.menu_ignore_ip, &QMenu::aboutToShow, this,
            [this] { menuWillOpen(actions_.menu_ignore_ip); });

    for (QAction* statistics : {actions_.statisticsOfAddress, actions_.statisticsOfPort}) {
        actions_.setServed(statistics, static_cast<bool>(context_.makeStatisticsWindow));
    }
    actions_.setServed(actions_.resolve, context_.tallies.names.resolver != nullptr);
    actions_.setServed(actions_.sendToVardex, context_.link != nullptr);
    actions_.setServed(actions_.ignorePort, context_.exclusions != nullptr);
    actions_.setServed(actions_.menu_ignore_ip->menuAction(), context_.exclusions != nullptr);
}

void VDXAddressesPortsListViewController::viewDidLoad() {
    picture_ = new WindowPicture(window(), QString::fromStdString(context_.picturesDirectory),
                                 QString::fromStdString(name_));
    tallies_.selectedEpoch = context_.periods.bootEpoch;
    reloadTallies();
    rateTimer_.start(kRateIntervalMs);
    setFocus();
}

void VDXAddressesPortsListViewController::viewWillClose() {
    rateTimer_.stop();
}

int VDXAddressesPortsListViewController::comfortableWidth() const {
    return tableviewIP_->comfortableWidth() + tableviewPORT_->comfortableWidth() +
           ui_->splitter->handleWidth();
}

void VDXAddressesPortsListViewController::countLiveRecord(const LiveRecordDictionary& record) {
    tallies_.countLiveRecord(record);
}

void VDXAddressesPortsListViewController::reloadTallies() {
    const int item = context_.periods.listsPeriod;
    ui_->popupButtonSelectSinceLog->setCurrentIndex(item);
    if (item >= 0 && item < static_cast<int>(actions_.periods.size())) {
        actions_.periods[static_cast<std::size_t>(item)]->setChecked(true);
    }
    {
        const TraceSpan span(context_.trace, "reload tallies");
        tallies_.reloadTallies();
    }
    tableviewPORT_->sortByRecords();
    tableviewIP_->sortByRecords();
    resolveNations();
    countedBefore_ = ipArrayController_.total();
    showState();
}

void VDXAddressesPortsListViewController::resolveNations() {
    resolveVisibleNations(
        tableviewIP_->visibleRows(),
        [this](std::size_t place) -> VisualizerObj& {
            return *ipArrayController_.arrangedRow(place);
        },
        context_.tallies);
}

void VDXAddressesPortsListViewController::popupChangeSinceLog(int item) {
    tallies_.selectedEpoch = choosePeriod(context_.periods, item, startOfToday());
    reloadTallies();
}

VDXAddressesPortsListViewController::Rows
VDXAddressesPortsListViewController::selectedRows(const TallyTable& table) {
    Rows rows;
    const TallyArrayController& controller = table.tallyModel()->controller();
    for (const std::size_t position :
         TallyTableModel::rowsOf(table.selectionModel()->selection())) {
        rows.push_back(controller.arrangedRow(position));
    }
    return rows;
}

std::vector<std::string> VDXAddressesPortsListViewController::originalLabels(const Rows& rows) {
    std::vector<std::string> labels;
    labels.reserve(rows.size());
    for (const TallyRows::Row& row : rows) {
        labels.push_back(row->originallabel());
    }
    return labels;
}

void VDXAddressesPortsListViewController::showStatisticsIP() {
    openStatistics(context_, selectedRows(*tableviewIP_), InspectedKind::address, tallies_.action(),
                   tallies_.direction());
}

void VDXAddressesPortsListViewController::showStatisticsPORT() {
    openStatistics(context_, selectedRows(*tableviewPORT_), InspectedKind::port, tallies_.action(),
                   tallies_.direction());
}

void VDXAddressesPortsListViewController::doubleClickTableView() {
    if (context_.tallies.names.resolver != nullptr) {
        resolveRows(std::make_shared<const Rows>(selectedRows(*tableviewIP_)), 0);
    }
}

void VDXAddressesPortsListViewController::resolveRows(std::shared_ptr<const Rows> rows,
                                                      std::size_t first) {
    // The first rows at once, the rest in the turns that follow.
    const std::size_t end = std::min(rows->size(), first + kResolvedAtOnce);
    for (std::size_t i = first; i < end; ++i) {
        (*rows)[i]->setHostname(context_.tallies);
    }
    if (end < rows->size()) {
        context_.queues.main->async([self = QPointer(this), rows = std::move(rows), end] {
            if (self) {
                self->resolveRows(rows, end);
            }
        });
    }
}

void VDXAddressesPortsListViewController::copyAddresses() {
    const std::vector<std::string> addresses = originalLabels(selectedRows(*tableviewIP_));
    QStringList lines;
    for (const std::string& address : addresses) {
        lines << QString::fromStdString(address);
    }
    QClipboard* clipboard = QApplication::clipboard();
    clipboard->clear();
    clipboard->setText(lines.join(QLatin1Char('\n')));
    context_.console("copied " + std::to_string(addresses.size()) + " addresses");
}

void VDXAddressesPortsListViewController::sendToVardex() {
    if (context_.link != nullptr) {
        context_.link->sendAddresses(originalLabels(selectedRows(*tableviewIP_)));
    }
}

void VDXAddressesPortsListViewController::ignore_port() {
    const Rows rows = selectedRows(*tableviewPORT_);
    if (!rows.empty() && context_.exclusions != nullptr) {
        context_.exclusions->addExclusion(
            VDXExclusion("port", rows.front()->originallabel(), std::nullopt, std::nullopt, 4));
    }
}

void VDXAddressesPortsListViewController::menuWillOpen(QMenu* menu) {
    menu->clear();
    const Rows rows = selectedRows(*tableviewIP_);
    if (rows.empty()) {
        return;
    }
    const std::string& address = rows.front()->originallabel();
    const int family = isIpv6Text(address) ? 6 : 4;
    const auto add = [&](const VDXExclusion& exclusion, const QString& toolTip) {
        QAction* item = menu->addAction(QString::fromStdString(exclusion.exclusion));
        item->setData(QVariant::fromValue(exclusion));
        item->setToolTip(toolTip);
        connect(item, &QAction::triggered, this, [this, item] { clickExclusion(item->data()); });
    };
    add(VDXExclusion("ip", address, std::nullopt, std::nullopt, family),
        tr("Hide this address from now on"));
    add(blockAround(address, family).exclusion(), tr("Hide the whole block from now on"));
}

void VDXAddressesPortsListViewController::clickExclusion(const QVariant& representedObject) {
    if (context_.exclusions != nullptr && representedObject.canConvert<VDXExclusion>()) {
        context_.exclusions->addExclusion(representedObject.value<VDXExclusion>());
    }
}

ListStatus VDXAddressesPortsListViewController::status() const {
    const auto counts = [](const TallyArrayController& controller) {
        return ListCounts{controller.arrangedCount(), controller.count()};
    };
    return {.connected = context_.helper->standingConnection() != nullptr,
            .liveRate = liveRate_,
            .addresses = counts(ipArrayController_),
            .ports = counts(portArrayController_),
            .records = ipArrayController_.total(),
            .since = tallies_.selectedEpoch};
}

void VDXAddressesPortsListViewController::showState() {
    const ListStatus now = status();
    ui_->addressCount->setText(countText(now.addresses));
    ui_->portCount->setText(countText(now.ports));
    tableviewIP_->setEmptyText(emptyListText(now, ListedThing::addresses));
    tableviewPORT_->setEmptyText(emptyListText(now, ListedThing::ports));
    ui_->status->showStatus(now);
    actions_.setSelected(tableviewIP_->selectionModel()->hasSelection(),
                         tableviewPORT_->selectionModel()->hasSelection());
    if (picture_ != nullptr) {
        // The sentence in an empty table is content too.
        picture_->contentChanged(
            std::max<std::int64_t>(1, static_cast<std::int64_t>(now.addresses.shown)));
    }
}

void VDXAddressesPortsListViewController::measureRate() {
    const std::int64_t counted = ipArrayController_.total();
    liveRate_ = std::max<std::int64_t>(0, counted - std::exchange(countedBefore_, counted));
    showState();
}

void VDXAddressesPortsListViewController::drawVerdict() {
    const QString name = verdictPicture(tallies_.action(), tallies_.direction());
    ui_->verdict->setPixmap(QPixmap::fromImage(context_.pictures->imageNow(
        Picture::named(name.toStdString()), kVerdictSize, devicePixelRatioF(), palette())));
}

void VDXAddressesPortsListViewController::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    const QString title = listTitle(tallies_.action(), tallies_.direction());
    if (!title.isEmpty()) {
        window()->setWindowTitle(title);
    }
}

void VDXAddressesPortsListViewController::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) {
        drawVerdict();
    }
}

} // namespace brindle
