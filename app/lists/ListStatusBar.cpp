// SPDX-License-Identifier: BSD-2-Clause
#include "app/lists/ListStatusBar.h"

#include "app/images/PictureStore.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>

namespace brindle {

ListStatusBar::ListStatusBar(QWidget* parent)
    : QWidget(parent), dot_(new QLabel(QStringLiteral("●"), this)), text_(new QLabel(this)) {
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(12, 6, 12, 6);
    row->setSpacing(7);
    row->addWidget(dot_);
    row->addWidget(text_, 1);
    text_->setTextFormat(Qt::PlainText);
    text_->setObjectName(QStringLiteral("statusText"));
    text_->setAccessibleName(tr("What was counted"));
    text_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    colourDot();
}

void ListStatusBar::showStatus(const ListStatus& status) {
    const QString text = statusText(status);
    if (text_->text() != text) {
        text_->setText(text);
        text_->setToolTip(text);
    }
    if (connected_ != status.connected) {
        connected_ = status.connected;
        colourDot();
    }
}

/// Green while records come, red without a daemon.
void ListStatusBar::colourDot() {
    const bool dark = PictureStore::isDark(palette());
    const QColor colour = connected_ ? (dark ? QColor(0x4ac26b) : QColor(0x1a7f37))
                                     : (dark ? QColor(0xff7b72) : QColor(0xc62828));
    QPalette coloured = dot_->palette();
    coloured.setColor(QPalette::WindowText, colour);
    dot_->setPalette(coloured);
}

void ListStatusBar::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) {
        colourDot();
    }
}

} // namespace brindle
