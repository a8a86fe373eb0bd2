// SPDX-License-Identifier: BSD-2-Clause
#include "app/lists/VDXAddressesPortsListWindowsController.h"

#include "app/WindowParts.h"
#include "app/images/PictureIcon.h"
#include "app/lists/ListActions.h"
#include "app/lists/ListWording.h"
#include "app/lists/VDXAddressesPortsListViewController.h"

#include <QApplication>
#include <QEvent>
#include <QScreen>
#include <QTimer>
#include <QVBoxLayout>

#include <utility>

#include "ui_VDXAddressesPortsListWindowsController.h"

namespace brindle {
namespace {

constexpr QSize kSmallest(560, 300);

} // namespace

VDXAddressesPortsListWindowsController::VDXAddressesPortsListWindowsController(AppContext& context,
                                                                               ListOpening info)
    : context_(context), info_(std::move(info)), name_(info_.name) {}

VDXAddressesPortsListWindowsController::~VDXAddressesPortsListWindowsController() {
    if (window_) {
        window_->removeEventFilter(this);
    }
}

QMainWindow* VDXAddressesPortsListWindowsController::window() {
    if (!window_) {
        window_ = std::make_unique<QMainWindow>();
        ui_ = std::make_unique<Ui::VDXAddressesPortsListWindowsController>();
        ui_->setupUi(window_.get());
        window_->installEventFilter(this);
        windowDidLoad();
    }
    return window_.get();
}

void VDXAddressesPortsListWindowsController::present() {
    bringToFront(*window());
}

void VDXAddressesPortsListWindowsController::close() {
    if (window_) {
        window_->close();
    }
}

void VDXAddressesPortsListWindowsController::windowDidLoad() {
    actions_ = new ListActions(window_.get());
    view_ = new VDXAddressesPortsListViewController(context_, info_, *actions_);
    context_.viewControllers->set(name_, view_->entry());
    context_.helper->liveFeedSwitch();

    auto* pinned = new QVBoxLayout(ui_->mainView);
    pinned->setContentsMargins(0, 0, 0, 0);
    pinned->addWidget(view_);
    window_->setWindowIcon(
        pictureIcon(*context_.pictures, verdictPicture(info_.action, info_.direction)));
    connect(actions_->close, &QAction::triggered, window_.get(), &QWidget::close);
    connect(actions_->quit, &QAction::triggered, qApp, &QCoreApplication::quit);
    view_->viewDidLoad();

    window_->setMinimumSize(kSmallest);
    const int width = view_->comfortableWidth();
    window_->resize(
        QSize(width, width * 5 / 9).boundedTo(window_->screen()->availableSize() * 0.9));
}

bool VDXAddressesPortsListWindowsController::eventFilter(QObject* object, QEvent* event) {
    if (object == window_.get() && event->type() == QEvent::Close) {
        windowWillClose();
    }
    return QObject::eventFilter(object, event);
}

void VDXAddressesPortsListWindowsController::windowWillClose() {
    if (std::exchange(closed_, true)) {
        return;
    }
    // The registry may hold the last reference, and the window is still in the middle of closing.
    QTimer::singleShot(0, qApp, [self = shared_from_this()] {});
    view_->viewWillClose();
    context_.viewControllers->remove(name_);
    context_.helper->liveFeedSwitch();
    context_.windowControllers->remove(name_);
}

} // namespace brindle
