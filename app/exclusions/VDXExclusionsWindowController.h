// SPDX-License-Identifier: BSD-2-Clause
//
// The exclusions editor's window: a menu bar and the editor's view. Registered under
// "exclusionsWindow" by whoever opens it; loaded when it is first presented and kept when it
// closes, so that the next opening shows the same window. Main thread.
#pragma once

#include "app/AppContext.h"
#include "core/exclusions/ExclusionList.h"

#include <QMainWindow>
#include <QObject>

#include <memory>

namespace brindle {

class VDXExclusionsViewController;
namespace Ui {
class VDXExclusionsWindowController;
}

class VDXExclusionsWindowController final : public QObject, public WindowController {
    Q_OBJECT
  public:
    /// Both outlive the controller.
    VDXExclusionsWindowController(AppContext& context, ExclusionList& exclusions);
    ~VDXExclusionsWindowController() override;

    void present() override;
    void close() override;

    /// The window, loaded on the first call.
    QMainWindow* window();

  private:
    void windowDidLoad();
    void fillMenuBar();

    AppContext& context_;
    ExclusionList& exclusions_;
    std::unique_ptr<QMainWindow> window_;
    std::unique_ptr<Ui::VDXExclusionsWindowController> ui_;
    VDXExclusionsViewController* view_ = nullptr; ///< a child of mainView
};

} // namespace brindle
