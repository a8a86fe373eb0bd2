// SPDX-License-Identifier: BSD-2-Clause
#include "app/tallies/FilterField.h"

#include "app/images/PictureIcon.h"

#include <QAction>
#include <QKeyEvent>

namespace brindle {

FilterField::FilterField(QWidget* parent) : QLineEdit(parent) {
    setClearButtonEnabled(true);
    setMinimumWidth(fontMetrics().averageCharWidth() * 14);
    setMaximumWidth(fontMetrics().averageCharWidth() * 36);
}

void FilterField::setPictures(PictureStore& pictures) {
    addAction(pictureIcon(pictures, QStringLiteral("search")), QLineEdit::LeadingPosition);
}

void FilterField::enter() {
    setFocus(Qt::ShortcutFocusReason);
    selectAll();
}

void FilterField::keyPressEvent(QKeyEvent* event) {
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
