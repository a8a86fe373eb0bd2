// SPDX-License-Identifier: BSD-2-Clause
//
// Everything that can be done in a statistics window, written once: each action with its text,
// shortcut and tool tip, and the menus they stand in. Made and connected by the window's
// controller; main thread.
#pragma once

#include <QAction>
#include <QMainWindow>
#include <QMenu>

namespace brindle {

class StatisticsActions final : public QObject {
    Q_OBJECT
  public:
    /// A child of the window, whose menu bar it fills.
    explicit StatisticsActions(QMainWindow* window);

    QAction* savePng;
    QAction* saveSvg;
    QAction* saveCsv;
    QAction* print;
    QAction* close;
    QAction* quit;
    QAction* copy;
    QAction* selectAll;
    QAction* sortAsChart;

    QMenu* tableMenu; ///< of the table

  private:
    QAction* make(const QString& text, const QKeySequence& shortcut, const QString& toolTip);
    void fillMenus(QMainWindow* window);
};

} // namespace brindle
