// SPDX-License-Identifier: BSD-2-Clause
#include "app/Alert.h"

#include <QLabel>
#include <QMessageBox>
#include <QPixmap>

namespace brindle {

void runModal(const Alert& alert) {
    QMessageBox box;
    box.setWindowTitle(QStringLiteral("Brindle"));
    box.setText(alert.messageText);
    box.setInformativeText(alert.informativeText);
    box.setStandardButtons(QMessageBox::Ok);
    box.setDefaultButton(QMessageBox::Ok);
    if (!alert.icon.isNull()) {
        box.setIconPixmap(QPixmap::fromImage(alert.icon));
    }
    // The box's own setting reaches only the first of its two texts.
    box.setTextFormat(Qt::PlainText);
    for (QLabel* label : box.findChildren<QLabel*>()) {
        if (label->pixmap().isNull()) {
            label->setTextFormat(Qt::PlainText);
        }
    }
    box.raise();
    box.activateWindow();
    box.exec();
}

} // namespace brindle
