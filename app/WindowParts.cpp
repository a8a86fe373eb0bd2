// SPDX-License-Identifier: BSD-2-Clause
#include "app/WindowParts.h"

namespace brindle {

void bringToFront(QMainWindow& window) {
    if (window.isMinimized()) {
        window.showNormal();
    } else {
        window.show();
    }
    window.raise();
    window.activateWindow();
}

QAction* makeAction(QObject* parent, const QString& text, const QKeySequence& shortcut,
                    const QString& toolTip) {
    auto* action = new QAction(text, parent);
    action->setShortcut(shortcut);
    const QString keys = action->shortcut().toString(QKeySequence::NativeText);
    action->setToolTip(QStringLiteral("%1 (%2)").arg(toolTip, keys));
    return action;
}

void fillMenu(QMenu* menu, std::initializer_list<QAction*> actions) {
    menu->setToolTipsVisible(true);
    for (QAction* action : actions) {
        if (action == nullptr) {
            menu->addSeparator();
        } else {
            menu->addAction(action);
        }
    }
}

} // namespace brindle
