// SPDX-License-Identifier: BSD-2-Clause
#include "app/logs/VDXLogsWindowController.h"

#include "app/Clock.h"
#include "app/WindowParts.h"
#include "app/images/PictureIcon.h"
#include "app/images/WindowPicture.h"
#include "app/logs/LogsTable.h"
#include "app/logs/VDXLogsViewController.h"

#include <QApplication>
#include <QCloseEvent>
#include <QDateTime>
#include <QItemSelectionModel>
#include <QPointer>
#include <QScreen>
#include <QVBoxLayout>

#include <array>

#include "ui_VDXLogsWindowController.h"

namespace brindle {
namespace {

constexpr int kCustomPeriod = 3;
constexpr int kStatusIntervalMs = 1000;
constexpr int kStateIntervalMs = 50;
constexpr int kMistakePauseMs = 600;
constexpr int kSmallestHeight = 320;

double epochOf(const QDateTime& date) {
    return static_cast<double>(date.toMSecsSinceEpoch()) / 1000.0;
}

QColor mistakeColour(const QPalette& palette) {
    return palette.color(QPalette::WindowText).lightness() > 127 ? QColor(0xff7b72)
                                                                 : QColor(0xb3261e);
}

} // namespace

VDXLogsWindowController::VDXLogsWindowController(AppContext& context) : context_(context) {}

VDXLogsWindowController::~VDXLogsWindowController() {
    if (window_) {
        window_->removeEventFilter(this);
    }
}

QMainWindow* VDXLogsWindowController::window() {
    if (!window_) {
        window_ = std::make_unique<QMainWindow>();
        ui_ = std::make_unique<Ui::VDXLogsWindowController>();
        ui_->setupUi(window_.get());
        window_->installEventFilter(this);
        windowDidLoad();
    }
    return window_.get();
}

void VDXLogsWindowController::present() {
    bringToFront(*window());
}

void VDXLogsWindowController::close() {
    if (window_) {
        window_->close();
    }
}

void VDXLogsWindowController::windowDidLoad() {
    window_->setWindowTitle(QStringLiteral("PF Realtime Log"));
    window_->setWindowIcon(pictureIcon(*context_.pictures, QStringLiteral("brindle")));
    ui_->pickerto->setDateTime(QDateTime::currentDateTime());
    ui_->pickerfrom->setDateTime(QDate::currentDate().startOfDay());
    actions_ = new LogsActions(window_.get(), *context_.pictures);
    nameControls();
    showDateControls(false);

    poll_ =
        DaemonStatusPoll::create(context_.helper, context_.queues.main, [this] { showState(); });
    view_ = new VDXLogsViewController(context_, window_.get());
    view_->entry()->needrealtime = true;
    context_.viewControllers->set("logs", view_->entry());
    context_.helper->liveFeedSwitch();

    auto* pinned = new QVBoxLayout(ui_->mainView);
    pinned->setContentsMargins(0, 0, 0, 0);
    pinned->addWidget(view_);
    connectActions();
    connectControls();
    view_->viewDidLoad();

    picture_ = new WindowPicture(window_.get(), QString::fromStdString(context_.picturesDirectory),
                                 QStringLiteral("logs"));
    const QSize available = window_->screen()->availableSize();
    const int width = view_->table().comfortableWidth();
    window_->setMinimumHeight(kSmallestHeight);
    window_->resize(QSize(width, width * 5 / 9).boundedTo(available * 0.95));
    view_->setFocus();
    showState();
    poll_->ask();
}

void VDXLogsWindowController::nameControls() {
    const auto button = [](QToolButton* control, QAction* action) {
        control->setDefaultAction(action);
        control->setAutoRaise(true);
        control->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
        control->setAccessibleName(action->iconText());
        control->setAccessibleDescription(action->toolTip());
    };
    button(ui_->passinBtn, actions_->passin);
    button(ui_->blockinBtn, actions_->blockin);
    button(ui_->passoutBtn, actions_->passout);
    button(ui_->blockoutBtn, actions_->blockout);
    button(ui_->exclusionsBtn, actions_->exclusionsWindow);
    for (QToolButton* list : {ui_->passinBtn, ui_->blockinBtn, ui_->passoutBtn, ui_->blockoutBtn}) {
        list->setIconSize(QSize(22, 16));
    }
    ui_->search->setPictures(*context_.pictures);
    ui_->search->setToolTip(tr("Words, and terms such as src:, dst:, port:, user:, action:; "
                               "- in front of a term negates it (Ctrl+F)"));
    ui_->filterMistake->hide();
    ui_->filterMistake->setContentsMargins(12, 0, 12, 6);
    for (QFrame* separator : {ui_->separatorLists, ui_->separatorExclusions}) {
        separator->setForegroundRole(QPalette::Mid);
        separator->setFixedHeight(window_->fontMetrics().height() + 4);
    }
    ui_->line->setForegroundRole(QPalette::Mid);
}

void VDXLogsWindowController::connectActions() {
    const auto on = [](QAction* action, auto* receiver, auto method) {
        QObject::connect(action, &QAction::triggered, receiver, method);
    };
    on(actions_->close, window_.get(), &QWidget::close);
    on(actions_->quit, view_, &VDXLogsViewController::terminate);
    on(actions_->copySource, view_, &VDXLogsViewController::copySrcAddresses);
    on(actions_->copyDestination, view_, &VDXLogsViewController::copyDstAddresses);
    on(actions_->copyRows, view_, &VDXLogsViewController::copyRows);
    on(actions_->selectAll, &view_->table(), &QTableView::selectAll);
    on(actions_->find, ui_->search, [this] {
        ui_->search->setFocus(Qt::ShortcutFocusReason);
        ui_->search->selectAll();
    });
    for (int i = 0; i < static_cast<int>(actions_->periods.size()); ++i) {
        on(actions_->periods[static_cast<std::size_t>(i)], this, [this, i] {
            ui_->popup->setCurrentIndex(i);
            selectPopup(i);
        });
    }
    on(actions_->stop, view_, &VDXLogsViewController::stopQueries);
    on(actions_->resolve, view_, &VDXLogsViewController::doubleClickTableView);
    on(actions_->passin, this, &VDXLogsWindowController::passin);
    on(actions_->blockin, this, &VDXLogsWindowController::blockin);
    on(actions_->passout, this, &VDXLogsWindowController::passout);
    on(actions_->blockout, this, &VDXLogsWindowController::blockout);
    on(actions_->blackListSource, view_, &VDXLogsViewController::blacklistSrcAddresses);
    on(actions_->blackListDestination, view_, &VDXLogsViewController::blacklistDstAddresses);
    on(actions_->exclusionsWindow, this, &VDXLogsWindowController::openIgnoreWindow);
    on(actions_->help, view_, &VDXLogsViewController::showHelp);
    const QItemSelectionModel* selection = view_->table().selectionModel();
    connect(selection, &QItemSelectionModel::selectionChanged, actions_,
            [this, selection] { actions_->setSelected(selection->hasSelection()); });
    connect(actions_->exclusionMenu, &QMenu::aboutToShow, view_,
            [this] { view_->menuWillOpen(actions_->exclusionMenu); });
    connect(view_, &VDXLogsViewController::contextMenuRequested, actions_->contextMenu,
            [this](const QPoint& position) { actions_->contextMenu->popup(position); });

    for (QAction* list :
         {actions_->passin, actions_->blockin, actions_->passout, actions_->blockout}) {
        actions_->setServed(list, static_cast<bool>(context_.makeListWindow));
    }
    actions_->setServed(actions_->exclusionsWindow,
                        static_cast<bool>(context_.makeExclusionsWindow));
    actions_->setServed(actions_->resolve, context_.names.resolver != nullptr);
    actions_->setServed(actions_->blackListSource, context_.link != nullptr);
    actions_->setServed(actions_->blackListDestination, context_.link != nullptr);
}

void VDXLogsWindowController::connectControls() {
    connect(ui_->popup, &QComboBox::activated, this, &VDXLogsWindowController::selectPopup);
    connect(ui_->queryBtn, &QPushButton::clicked, this, &VDXLogsWindowController::clickQuery);
    for (QDateTimeEdit* picker : {ui_->pickerfrom, ui_->pickerto}) {
        connect(picker, &QDateTimeEdit::dateTimeChanged, this, [this] { pickersTouched_ = true; });
    }
    connect(ui_->search, &QLineEdit::textChanged, this, [this](const QString& text) {
        ui_->search->clearMistake();
        view_->setFilterText(text);
        showState();
    });
    connect(ui_->search, &SearchField::left, view_, [this] { view_->table().setFocus(); });
    connect(view_, &VDXLogsViewController::filterMistaken, this, [this](const FilterError& error) {
        mistake_ = Mistake{error.position, error.length, QString::fromStdString(error.sentence)};
        mistakeTimer_.start();
    });
    connect(view_, &VDXLogsViewController::filterUnderstood, this, [this] {
        mistake_.reset();
        showMistake();
    });
    connect(ui_->status, &LogsStatusBar::stop, view_, &VDXLogsViewController::stopQueries);

    mistakeTimer_.setSingleShot(true);
    mistakeTimer_.setInterval(kMistakePauseMs);
    connect(&mistakeTimer_, &QTimer::timeout, this, &VDXLogsWindowController::showMistake);
    stateTimer_.setSingleShot(true);
    stateTimer_.setInterval(kStateIntervalMs);
    connect(&stateTimer_, &QTimer::timeout, this, &VDXLogsWindowController::showState);
    connect(view_, &VDXLogsViewController::changed, this, [this] {
        if (!stateTimer_.isActive()) {
            stateTimer_.start();
        }
    });
    connect(&statusTimer_, &QTimer::timeout, this, [this] {
        liveRate_ = view_->takeArrived();
        poll_->ask();
        showState();
    });
    statusTimer_.start(kStatusIntervalMs);
    connectionObserver_ = context_.helper->observeConnection([this](bool) {
        poll_->connectionChanged();
        showState();
    });
}

void VDXLogsWindowController::showDateControls(bool shown) {
    const std::array<QWidget*, 5> controls{ui_->pickerfrom, ui_->labelfrom, ui_->labelto,
                                           ui_->pickerto, ui_->queryBtn};
    for (QWidget* control : controls) {
        control->setVisible(shown);
    }
    measureControls();
}

void VDXLogsWindowController::selectPopup(int index) {
    window_->setWindowTitle(index == 0 ? QStringLiteral("PF Realtime Log")
                                       : QStringLiteral("PF Log"));
    if (index >= 0 && index < static_cast<int>(actions_->periods.size())) {
        actions_->periods[static_cast<std::size_t>(index)]->setChecked(true);
    }
    showDateControls(index == kCustomPeriod);
    if (index == kCustomPeriod) {
        if (!pickersTouched_) {
            ui_->pickerto->setDateTime(QDateTime::currentDateTime());
            pickersTouched_ = false;
        }
        ui_->pickerfrom->setFocus();
        return;
    }
    if (LogsView* view = registeredView()) {
        view->selectLogMode(index);
    }
}

void VDXLogsWindowController::clickQuery() {
    if (LogsView* view = registeredView()) {
        view->queryLogs(LogsMode::period, epochOf(ui_->pickerfrom->dateTime()),
                        epochOf(ui_->pickerto->dateTime()), {});
    }
}

LogsView* VDXLogsWindowController::registeredView() const {
    const auto entry = context_.viewControllers->find("logs");
    return entry ? entry->logs : nullptr;
}

void VDXLogsWindowController::openList(const char* action, const char* direction,
                                       const char* name) {
    std::shared_ptr<WindowController> list = context_.windowControllers->find(name);
    if (!list && context_.makeListWindow) {
        list = context_.makeListWindow({.action = action, .direction = direction, .name = name});
        if (list) {
            context_.windowControllers->set(name, list);
        }
    }
    if (list) {
        list->present();
    }
}

void VDXLogsWindowController::openIgnoreWindow() {
    std::shared_ptr<WindowController> editor = context_.windowControllers->find("exclusionsWindow");
    if (!editor && context_.makeExclusionsWindow) {
        editor = context_.makeExclusionsWindow();
        if (editor) {
            context_.windowControllers->set("exclusionsWindow", editor);
        }
    }
    if (editor) {
        editor->present();
    }
}

bool VDXLogsWindowController::eventFilter(QObject* object, QEvent* event) {
    if (object == window_.get()) {
        if (event->type() == QEvent::Close) {
            windowWillClose();
        } else if (event->type() == QEvent::Resize) {
            fitControls();
        } else if (event->type() == QEvent::FontChange || event->type() == QEvent::StyleChange) {
            measureControls();
        }
    }
    return QObject::eventFilter(object, event);
}

void VDXLogsWindowController::windowWillClose() {
    if (closed_) {
        return;
    }
    closed_ = true;
    // The registry may hold the last reference, and the window is still in the middle of closing.
    QTimer::singleShot(0, qApp, [self = shared_from_this()] {});
    statusTimer_.stop();
    context_.windowControllers->remove("logs");
    context_.viewControllers->remove("logs");
    view_->viewWillClose();
    context_.helper->liveFeedSwitch();
}

void VDXLogsWindowController::setButtonStyle(Qt::ToolButtonStyle style) {
    for (QToolButton* button :
         {ui_->passinBtn, ui_->blockinBtn, ui_->passoutBtn, ui_->blockoutBtn, ui_->exclusionsBtn}) {
        button->setToolButtonStyle(style);
    }
}

void VDXLogsWindowController::measureControls() {
    setButtonStyle(Qt::ToolButtonTextBesideIcon);
    roomyWidth_ = ui_->controlsRow->minimumSize().width();
    setButtonStyle(Qt::ToolButtonIconOnly);
    window_->setMinimumWidth(ui_->controlsRow->minimumSize().width());
    fitControls();
}

void VDXLogsWindowController::fitControls() {
    // Words leave the buttons when the row does not fit; pictures and tool tips stay.
    setButtonStyle(window_->width() < roomyWidth_ ? Qt::ToolButtonIconOnly
                                                  : Qt::ToolButtonTextBesideIcon);
}

void VDXLogsWindowController::showState() {
    LogsStatus status = view_->status();
    status.liveRate = liveRate_;
    status.daemon = poll_->last();
    const std::optional<double> progress = view_->progress(poll_->oldestStored());
    ui_->status->showStatus(status);
    ui_->status->setProgress(progress);
    ui_->search->setCounts(view_->shownCount(), status.rows);
    actions_->stop->setEnabled(progress.has_value());
    actions_->setSelected(status.selected > 0);
    picture_->contentChanged(static_cast<std::int64_t>(view_->shownCount()));
}

void VDXLogsWindowController::showMistake() {
    mistakeTimer_.stop();
    ui_->filterMistake->setVisible(mistake_.has_value());
    if (!mistake_) {
        ui_->search->clearMistake();
        return;
    }
    QPalette coloured = ui_->filterMistake->palette();
    coloured.setColor(QPalette::WindowText, mistakeColour(window_->palette()));
    ui_->filterMistake->setPalette(coloured);
    ui_->filterMistake->setText(mistake_->sentence);
    ui_->search->markMistake(mistake_->position, mistake_->length);
}

} // namespace brindle
