// SPDX-License-Identifier: BSD-2-Clause
#include "app/exclusions/VDXExclusionsWindowController.h"

#include "app/WindowParts.h"
#include "app/exclusions/VDXExclusionsViewController.h"
#include "app/images/PictureIcon.h"

#include <QMenu>
#include <QMenuBar>
#include <QVBoxLayout>

#include "ui_VDXExclusionsWindowController.h"

namespace brindle {

VDXExclusionsWindowController::VDXExclusionsWindowController(AppContext& context,
                                                             ExclusionList& exclusions)
    : context_(context), exclusions_(exclusions) {}

VDXExclusionsWindowController::~VDXExclusionsWindowController() = default;

QMainWindow* VDXExclusionsWindowController::window() {
    if (!window_) {
        window_ = std::make_unique<QMainWindow>();
        ui_ = std::make_unique<Ui::VDXExclusionsWindowController>();
        ui_->setupUi(window_.get());
        windowDidLoad();
    }
    return window_.get();
}

void VDXExclusionsWindowController::present() {
    bringToFront(*window());
}

void VDXExclusionsWindowController::close() {
    if (window_) {
        window_->close();
    }
}

void VDXExclusionsWindowController::windowDidLoad() {
    window_->setWindowIcon(pictureIcon(*context_.pictures, QStringLiteral("exclusions")));
    view_ = new VDXExclusionsViewController(context_, exclusions_);
    context_.viewControllers->set("exclusions", view_->entry());
    context_.helper->liveFeedSwitch();

    auto* pinned = new QVBoxLayout(ui_->mainView);
    pinned->setContentsMargins(0, 0, 0, 0);
    pinned->addWidget(view_);
    connect(ui_->close, &QAction::triggered, window_.get(), &QWidget::close);
    fillMenuBar();
    view_->viewDidLoad();
}

void VDXExclusionsWindowController::fillMenuBar() {
    ui_->menuFile->addAction(ui_->close);
    const ExclusionsActions actions = view_->actions();
    ui_->menuEdit->addActions({actions.undo, actions.copy, actions.selectAll});
    ui_->menuEdit->insertSeparator(actions.copy);
    ui_->menuExclusions->addActions({actions.add, actions.remove});
}

} // namespace brindle
