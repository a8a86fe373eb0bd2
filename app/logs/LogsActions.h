// SPDX-License-Identifier: BSD-2-Clause
//
// Everything that can be done in the logs window, written once: each action with its text, shortcut
// and tool tip, and the menus they stand in. Owned by the window's controller, which connects them;
// main thread.
#pragma once

#include <QAction>
#include <QActionGroup>
#include <QMainWindow>
#include <QMenu>

#include <array>

namespace brindle {

class PictureStore;

class LogsActions final : public QObject {
    Q_OBJECT
  public:
    /// A child of the window, whose menu bar it fills.
    LogsActions(QMainWindow* window, PictureStore& pictures);

    QAction* close;
    QAction* quit;
    QAction* copySource;
    QAction* copyDestination;
    QAction* copyRows;
    QAction* selectAll;
    QAction* find;
    std::array<QAction*, 4> periods; ///< by index of the period menu
    QAction* stop;
    QAction* resolve;
    QAction* passin;
    QAction* blockin;
    QAction* passout;
    QAction* blockout;
    QAction* blackListSource;
    QAction* blackListDestination;
    QAction* exclusionsWindow;
    QAction* help;

    QMenu* exclusionMenu; ///< rebuilt by the logs view each time it opens
    QMenu* contextMenu;

    /// What works on selected rows is there only while rows are selected; what its part does not
    /// serve yet is there, disabled, and says so.
    void setSelected(bool rowsSelected);
    void setServed(QAction* action, bool served);

  private:
    QAction* make(const QString& text, const QKeySequence& shortcut, const QString& toolTip);
    void fillMenuBar(QMainWindow* window);
    void fillContextMenu();

    QActionGroup* const periodGroup_;
};

} // namespace brindle
