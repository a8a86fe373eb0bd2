// SPDX-License-Identifier: BSD-2-Clause
#include "app/logs/VDXLogsViewController.h"

#include "app/Clock.h"
#include "app/images/PictureStore.h"
#include "app/logs/ExclusionMenu.h"
#include "app/logs/LogsDelegate.h"
#include "app/logs/LogsTable.h"
#include "app/trace/Trace.h"
#include "core/log/records/RecordText.h"

#include <QApplication>
#include <QClipboard>
#include <QItemSelectionModel>
#include <QMenu>
#include <QPointer>

#include <algorithm>
#include <set>

#include "ui_VDXLogsViewController.h"

namespace brindle {
namespace {

constexpr std::int64_t kFirstRows = 5;
constexpr double kSevenDays = 604800;
/// Live rows reach the table this often.
constexpr int kLiveIntervalMs = 33;
/// Rows whose resolution is started in one turn of the event loop.
constexpr std::size_t kResolvedAtOnce = 100;

std::string epochOrNone(const std::optional<double>& epoch) {
    return epoch ? epochText(*epoch) : "none";
}

} // namespace

VDXLogsViewController::VDXLogsViewController(AppContext& context, QWidget* parent)
    : QWidget(parent), context_(context),
      entry_(std::make_shared<ViewEntry>(static_cast<LogsView*>(this))),
      ui_(std::make_unique<Ui::VDXLogsViewController>()), pictures_(*context.pictures, *this),
      controller_(context.queues.main, context.queues.global, *context.tables) {
    ui_->setupUi(this);
    table_ = ui_->table;
    table_->setModel(&model_);
    auto* delegate = static_cast<LogsDelegate*>(table_->itemDelegate());
    delegate->setBlockedRows([this](int row) {
        return controller_.arrangedLog(static_cast<std::size_t>(row)).text(LogField::action) ==
               "block";
    });
    setFocusProxy(table_);

    liveTimer_.setSingleShot(true);
    liveTimer_.setInterval(kLiveIntervalMs);
    connect(&liveTimer_, &QTimer::timeout, this, &VDXLogsViewController::flushLive);
    connect(context_.pictures, &PictureStore::drawn, &model_, &LogsTableModel::picturesChanged);
    connect(&model_, &LogsTableModel::countsChanged, this, &VDXLogsViewController::tableChanged);
    connect(table_->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &VDXLogsViewController::changed);
    connect(table_, &QTableView::doubleClicked, this, &VDXLogsViewController::doubleClickTableView);
    connect(table_, &QWidget::customContextMenuRequested, this, [this](const QPoint& position) {
        emit contextMenuRequested(table_->viewport()->mapToGlobal(position));
    });
    connect(table_, &LogsTable::painted, this, [this] {
        if (paintPending_) {
            paintPending_ = false;
            if (context_.trace != nullptr) {
                context_.trace->firstRowsPainted();
            }
        }
    });
}

VDXLogsViewController::~VDXLogsViewController() {
    // The registry's copies may outlive the view: nothing reaches it through them any more.
    entry_->logs = nullptr;
    fills_.clear();
}

void VDXLogsViewController::viewDidLoad() {
    queryLogs(entry_->needrealtime ? LogsMode::live : LogsMode::period, {}, {}, kFirstRows);
}

void VDXLogsViewController::viewWillClose() {
    liveTimer_.stop();
    live_.clear();
    fills_.clear();
}

void VDXLogsViewController::selectLogMode(int index) {
    switch (index) {
    case 1:
        queryLogs(LogsMode::period, startOfToday(), epochNow(), {});
        break;
    case 2: {
        const double now = epochNow();
        queryLogs(LogsMode::period, now - kSevenDays, now, {});
        break;
    }
    default:
        queryLogs(LogsMode::live, {}, {}, kFirstRows);
    }
}

void VDXLogsViewController::queryLogs(LogsMode mode, std::optional<double> from,
                                      std::optional<double> to, std::optional<std::int64_t> limit) {
    live_.clear();
    controller_.clear();
    suspendFilter();
    stopped_ = false;
    entry_->needrealtime = mode == LogsMode::live;
    if (mode == LogsMode::live) {
        startFill({.from = startOfToday(),
                   .to = epochNow(),
                   .mode = mode,
                   .limit = limit.value_or(kFirstRows)});
    } else {
        context_.console("query from " + epochOrNone(from) + " to " + epochOrNone(to));
        if (from && to) {
            startFill({.from = *from, .to = *to, .mode = mode, .limit = 0});
        }
    }
    table_->scrollToTop();
    tableChanged();
}

void VDXLogsViewController::startFill(const FillRequest& request) {
    paintPending_ = true;
    traceInstant(context_.trace, "query sent");
    const auto fill = LogFill::start(
        context_, controller_, request,
        {.rowsCame =
             [this](LogFill&) {
                 // Provisional rows are shown as they will stand in the end: filtered.
                 applyFilter();
                 emit changed();
             },
         .over = [this](LogFill& over, FillOutcome outcome) { fillOver(over, outcome); }});
    if (fill) {
        fills_.push_back(fill);
    }
}

void VDXLogsViewController::fillOver(LogFill& fill, FillOutcome outcome) {
    std::erase_if(fills_, [&](const auto& other) { return other.get() == &fill; });
    stopped_ = outcome == FillOutcome::stopped;
    if (outcome != FillOutcome::brokeOff) {
        applyFilter();
    } else if (std::none_of(fills_.begin(), fills_.end(),
                            [](const auto& other) { return other->hasRows(); })) {
        suspendFilter();
    }
    traceInstant(context_.trace, "last row");
    tableChanged();
}

void VDXLogsViewController::applyFilter() {
    if (controller_.filter() != typedFilter_) {
        const TraceSpan span(context_.trace, "filter");
        controller_.setFilter(typedFilter_);
    }
}

void VDXLogsViewController::suspendFilter() {
    controller_.setFilter(nullptr);
}

void VDXLogsViewController::setFilterText(const QString& text) {
    const auto parsed = FilterExpression::parse(text.toStdString());
    if (!parsed) {
        emit filterMistaken(parsed.error()); // what was understood last stays in force
        return;
    }
    typedFilter_ = parsed->empty() ? nullptr : std::make_shared<const FilterExpression>(*parsed);
    applyFilter();
    emit filterUnderstood();
    tableChanged();
}

void VDXLogsViewController::addLiveRecord(const RecordDictionary& record) {
    // A record that was on its way when the mode changed: a period's table is fixed.
    if (!entry_->needrealtime) {
        return;
    }
    if (auto log = VDXLog::fromDictionary(record, *context_.tables)) {
        live_.add(std::move(*log));
        if (!liveTimer_.isActive()) {
            liveTimer_.start();
        }
    }
}

void VDXLogsViewController::flushLive() {
    if (!live_.empty()) {
        live_.moveInto(controller_);
        controller_.flush();
    }
}

std::int64_t VDXLogsViewController::rowCount() const {
    for (auto fill = fills_.rbegin(); fill != fills_.rend(); ++fill) {
        if ((*fill)->request().mode == LogsMode::live) {
            return (*fill)->request().limit;
        }
    }
    return static_cast<std::int64_t>(live_.countWith(controller_.count()));
}

LogsStatus VDXLogsViewController::status() const {
    LogsStatus status;
    status.mode = entry_->needrealtime ? LogsMode::live : LogsMode::period;
    status.connected = context_.helper->standingConnection() != nullptr;
    status.loading = !fills_.empty();
    status.stopped = stopped_;
    status.rows = controller_.count();
    for (const QItemSelectionRange& range : table_->selectionModel()->selection()) {
        status.selected += static_cast<std::size_t>(range.height());
    }
    return status;
}

std::optional<double> VDXLogsViewController::progress(std::optional<double> oldest) const {
    for (const auto& fill : fills_) {
        if (fill->request().mode == LogsMode::period) {
            return fill->progress(oldest.value_or(fill->request().from));
        }
    }
    return std::nullopt;
}

void VDXLogsViewController::stopQueries() {
    const auto fills = fills_; // each takes itself out
    for (const auto& fill : fills) {
        if (fill->request().mode == LogsMode::period) {
            fill->stop();
        }
    }
}

void VDXLogsViewController::tableChanged() {
    LogsStatus now = status();
    table_->setEmptyText(emptyTableText(now, isFiltered()));
    emit changed();
}

std::vector<std::uint32_t> VDXLogsViewController::selectedRows() const {
    return LogsTableModel::rowsOf(table_->selectionModel()->selection());
}

void VDXLogsViewController::doubleClickTableView() {
    if (context_.names.resolver == nullptr) {
        return;
    }
    auto rows = std::make_shared<std::vector<LogId>>();
    for (const std::uint32_t row : selectedRows()) {
        rows->push_back(controller_.idAt(row));
    }
    resolveRows(std::move(rows), 0, Clock::now());
}

void VDXLogsViewController::resolveRows(std::shared_ptr<const std::vector<LogId>> rows,
                                        std::size_t first, Clock::time_point clicked) {
    // The first rows at once, the rest in the turns that follow; all deadlines run from the click.
    const std::size_t end = std::min(rows->size(), first + kResolvedAtOnce);
    const std::chrono::duration<double> passed = Clock::now() - clicked;
    const double seconds = kNameDeadlineSeconds - passed.count();
    for (std::size_t i = first; i < end; ++i) {
        VDXLog* log = controller_.find((*rows)[i]);
        if (log == nullptr || log->hasBeenReversed()) {
            continue;
        }
        context_.queues.reverse->sync([this, id = (*rows)[i], log, seconds] {
            log->reverse(context_.names, seconds, [self = QPointer(this), id] {
                if (self) {
                    self->controller_.rowChanged(id);
                }
            });
        });
    }
    if (end < rows->size()) {
        context_.queues.main->async([self = QPointer(this), rows, end, clicked] {
            if (self) {
                self->resolveRows(rows, end, clicked);
            }
        });
    }
}

void VDXLogsViewController::copyAddresses(AddressSide side) {
    const std::vector<std::string> addresses = addressesOfRows(controller_, selectedRows(), side);
    QClipboard* clipboard = QApplication::clipboard();
    clipboard->clear();
    clipboard->setText(QString::fromStdString(joinedLines(addresses)));
    context_.console("copied " + std::to_string(addresses.size()) +
                     (side == AddressSide::source ? " src addresses" : " dst addresses"));
}

void VDXLogsViewController::copySrcAddresses() {
    copyAddresses(AddressSide::source);
}
void VDXLogsViewController::copyDstAddresses() {
    copyAddresses(AddressSide::destination);
}

void VDXLogsViewController::copyRows() {
    QApplication::clipboard()->setText(
        QString::fromStdString(rowsAsText(controller_, selectedRows())));
}

void VDXLogsViewController::blackList(AddressSide side) {
    if (context_.link == nullptr) {
        return;
    }
    std::vector<std::string> distinct;
    std::set<std::string> seen;
    for (std::string& address : addressesOfRows(controller_, selectedRows(), side)) {
        if (seen.insert(address).second) {
            distinct.push_back(std::move(address));
        }
    }
    context_.link->blackListAddresses(std::move(distinct));
}

void VDXLogsViewController::blacklistSrcAddresses() {
    blackList(AddressSide::source);
}
void VDXLogsViewController::blacklistDstAddresses() {
    blackList(AddressSide::destination);
}

void VDXLogsViewController::menuWillOpen(QMenu* menu) {
    menu->clear();
    const std::vector<std::uint32_t> rows = selectedRows();
    if (rows.empty()) {
        return;
    }
    const VDXLog& log = controller_.arrangedLog(rows.front());
    const ExclusionSubject subject{.srcip = log.text(LogField::srcip),
                                   .srcport = log.text(LogField::srcport),
                                   .dstip = log.text(LogField::dstip),
                                   .dstport = log.text(LogField::dstport)};
    for (const ExclusionChoice& choice : exclusionChoices(subject)) {
        QAction* item = menu->addAction(QString::fromStdString(choice.title));
        item->setData(QVariant::fromValue(choice.exclusion));
        item->setEnabled(context_.exclusions != nullptr);
        item->setToolTip(tr("Hide such records from now on"));
        connect(item, &QAction::triggered, this, [this, item] { clickExclusion(item->data()); });
    }
}

void VDXLogsViewController::clickExclusion(const QVariant& representedObject) {
    if (context_.exclusions != nullptr && representedObject.canConvert<VDXExclusion>()) {
        context_.exclusions->addExclusion(representedObject.value<VDXExclusion>());
    }
}

void VDXLogsViewController::terminate() {
    QCoreApplication::quit();
}

void VDXLogsViewController::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange || event->type() == QEvent::StyleChange) {
        pictures_.forget();
        model_.picturesChanged();
    }
}

} // namespace brindle
