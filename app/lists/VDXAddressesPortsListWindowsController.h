// SPDX-License-Identifier: BSD-2-Clause
//
// One of the four list windows: a menu bar and the list view. Registered under "passin", "blockin",
// "passout" or "blockout" by whoever opens it; loaded when it is first presented, gone when it
// closes. Main thread.
#pragma once

#include "app/AppContext.h"

#include <QMainWindow>
#include <QObject>

#include <memory>
#include <string>

namespace brindle {

class ListActions;
class VDXAddressesPortsListViewController;
namespace Ui {
class VDXAddressesPortsListWindowsController;
}

class VDXAddressesPortsListWindowsController final
    : public QObject,
      public WindowController,
      public std::enable_shared_from_this<VDXAddressesPortsListWindowsController> {
    Q_OBJECT
  public:
    /// The context outlives the controller.
    VDXAddressesPortsListWindowsController(AppContext& context, ListOpening info);
    ~VDXAddressesPortsListWindowsController() override;

    void present() override;
    void close() override;

    /// The window, loaded on the first call.
    QMainWindow* window();

  private:
    void windowDidLoad();
    void windowWillClose();
    bool eventFilter(QObject* object, QEvent* event) override;

    AppContext& context_;
    const ListOpening info_;
    const std::string name_; ///< in both registries
    std::unique_ptr<QMainWindow> window_;
    std::unique_ptr<Ui::VDXAddressesPortsListWindowsController> ui_;
    ListActions* actions_ = nullptr;                      ///< a child of the window
    VDXAddressesPortsListViewController* view_ = nullptr; ///< a child of mainView
    bool closed_ = false;
};

} // namespace brindle
