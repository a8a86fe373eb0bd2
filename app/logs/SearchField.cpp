// SPDX-License-Identifier: BSD-2-Clause
#include "app/logs/SearchField.h"

#include "app/logs/Wording.h"

#include <QCoreApplication>
#include <QInputMethodEvent>
#include <QLabel>
#include <QTextCharFormat>

namespace brindle {
namespace {

/// What the clear button and its margins take at the right end.
constexpr int kClearButtonWidth = 26;

const QColor kMistakeColour(0xd9, 0x3a, 0x3a);

} // namespace

SearchField::SearchField(QWidget* parent)
    : FilterLineEdit(24, 52, parent), count_(new QLabel(this)) {
    setPlaceholderText(tr("Filter: words, src:10.0.0.0/8, dport:443 …"));
    QSizePolicy policy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    policy.setHorizontalStretch(1);
    setSizePolicy(policy);
    count_->setForegroundRole(QPalette::PlaceholderText);
    count_->setAttribute(Qt::WA_TransparentForMouseEvents);
    count_->setAccessibleName(tr("Rows that pass the filter, of all"));
    count_->hide();
}

void SearchField::setCounts(std::size_t shown, std::size_t total) {
    const QString text = this->text().isEmpty()
                             ? QString()
                             : QStringLiteral("%1/%2").arg(grouped(shown), grouped(total));
    if (text == count_->text()) {
        return;
    }
    count_->setText(text);
    count_->setVisible(!text.isEmpty());
    placeCount();
}

void SearchField::placeCount() {
    const int width = count_->text().isEmpty() ? 0 : count_->sizeHint().width();
    count_->setGeometry(this->width() - kClearButtonWidth - width, 0, width, height());
    setTextMargins(0, 0, width == 0 ? 0 : width + 4, 0);
}

void SearchField::resizeEvent(QResizeEvent* event) {
    FilterLineEdit::resizeEvent(event);
    placeCount();
}

void SearchField::markMistake(std::size_t position, std::size_t length) {
    const QByteArray utf8 = text().toUtf8();
    const auto offset = QString::fromUtf8(utf8.left(static_cast<qsizetype>(position))).size();
    const auto size = QString::fromUtf8(utf8.mid(static_cast<qsizetype>(position),
                                                 static_cast<qsizetype>(length)))
                          .size();
    QTextCharFormat format;
    format.setUnderlineStyle(QTextCharFormat::SingleUnderline);
    format.setUnderlineColor(kMistakeColour);
    format.setForeground(kMistakeColour);
    // A line edit formats parts of its text only as an input method would; the range counts from
    // the cursor.
    QInputMethodEvent event(
        QString(), {{QInputMethodEvent::TextFormat, static_cast<int>(offset) - cursorPosition(),
                     static_cast<int>(size), format}});
    QCoreApplication::sendEvent(this, &event);
    marked_ = true;
}

void SearchField::clearMistake() {
    if (marked_) {
        marked_ = false;
        QInputMethodEvent event;
        QCoreApplication::sendEvent(this, &event);
    }
}

} // namespace brindle
