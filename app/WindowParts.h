// SPDX-License-Identifier: BSD-2-Clause
//
// What every window does alike: come to the front, make its actions, fill its menus. Main thread.
#pragma once

#include <QAction>
#include <QKeySequence>
#include <QMainWindow>
#include <QMenu>
#include <QString>

#include <initializer_list>

namespace brindle {

/// Shown, not minimized, above the others, with the keyboard.
void bringToFront(QMainWindow& window);

/// A child of `parent`. The tool tip names the shortcut too.
QAction* makeAction(QObject* parent, const QString& text, const QKeySequence& shortcut,
                    const QString& toolTip);

/// Null stands for a separator.
void fillMenu(QMenu* menu, std::initializer_list<QAction*> actions);

} // namespace brindle
