// SPDX-License-Identifier: BSD-2-Clause
//
// Everything that can be done in a list window, written once: each action with its text, shortcut
// and tool tip, and the menus they stand in. Made by the window's controller, connected by the
// view's; main thread.
#pragma once

#include <QAction>
#include <QActionGroup>
#include <QMainWindow>
#include <QMenu>

#include <array>

namespace brindle {

class ListActions final : public QObject {
    Q_OBJECT
  public:
    /// A child of the window, whose menu bar it fills.
    explicit ListActions(QMainWindow* window);

    QAction* close;
    QAction* quit;
    std::array<QAction*, 3> periods; ///< by index of the period menu
    QAction* findAddress;
    QAction* findPort;
    QAction* selectAll;
    QAction* statisticsOfAddress;
    QAction* resolve;
    QAction* copyAddresses;
    QAction* sendToVardex;
    QAction* statisticsOfPort;
    QAction* ignorePort;

    QMenu* menu_ignore_ip; ///< rebuilt by the view each time it opens
    QMenu* addressMenu;    ///< of the address table
    QMenu* portMenu;       ///< of the port table

    /// What works on selected rows is there only while rows are selected; what its part does not
    /// serve is there, disabled, and says so.
    void setSelected(bool addresses, bool ports);
    void setServed(QAction* action, bool served);

  private:
    QAction* make(const QString& text, const QKeySequence& shortcut, const QString& toolTip);
    void fillMenus(QMainWindow* window);

    QActionGroup* const periodGroup_;
};

} // namespace brindle
