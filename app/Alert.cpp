// SPDX-License-Identifier: BSD-2-Clause
#include "app/Alert.h"

#include <QLabel>
#include <QMessageBox>
#include <QPixmap>
#include <QPushButton>

namespace brindle {
namespace {

constexpr int kLineLength = 52; ///< characters of a comfortable line

} // namespace

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
    box.button(QMessageBox::Ok)->setIcon({});
    // The box's own setting reaches only the first of its two texts.
    box.setTextFormat(Qt::PlainText);
    for (QLabel* label : box.findChildren<QLabel*>()) {
        if (label->pixmap().isNull()) {
            label->setTextFormat(Qt::PlainText);
            label->setMinimumWidth(label->fontMetrics().averageCharWidth() * kLineLength);
            if (label->text() == alert.messageText) {
                QFont bold = label->font();
                bold.setBold(true);
                label->setFont(bold);
            }
        }
    }
    box.raise();
    box.activateWindow();
    box.exec();
}

} // namespace brindle
