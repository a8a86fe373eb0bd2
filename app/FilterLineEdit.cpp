// SPDX-License-Identifier: BSD-2-Clause
#include "app/FilterLineEdit.h"

#include "app/images/PictureIcon.h"

#include <QAction>
#include <QKeyEvent>

namespace brindle {

FilterLineEdit::FilterLineEdit(int fewest, int most, QWidget* parent) : QLineEdit(parent) {
    setClearButtonEnabled(true);
    setMinimumWidth(fontMetrics().averageCharWidth() * fewest);
    setMaximumWidth(fontMetrics().averageCharWidth() * most);
}

void FilterLineEdit::setPictures(PictureStore& pictures) {
    addAction(pictureIcon(pictures, QStringLiteral("search")), QLineEdit::LeadingPosition);
}

void FilterLineEdit::enter() {
    setFocus(Qt::ShortcutFocusReason);
    selectAll();
}

void FilterLineEdit::keyPressEvent(QKeyEvent* event) {
    switch (event->key()) {
    case Qt::Key_Escape:
        text().isEmpty() ? emit left() : clear();
        return;
    case Qt::Key_Return:
    case Qt::Key_Enter:
    case Qt::Key_Down:
        emit left();
        return;
    default:
        QLineEdit::keyPressEvent(event);
    }
}

} // namespace brindle
