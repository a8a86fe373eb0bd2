// SPDX-License-Identifier: BSD-2-Clause
#include "app/logs/LogsStatusBar.h"

#include "app/images/PictureStore.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QToolButton>

namespace brindle {
namespace {

constexpr int kSteps = 1000;

/// Green while live, red without a daemon, amber when records were lost or a source waits, else the
/// colour of quiet text.
QColor dotColour(const LogsStatus& status, const QPalette& palette) {
    const bool dark = PictureStore::isDark(palette);
    if (!status.connected) {
        return dark ? QColor(0xff7b72) : QColor(0xc62828);
    }
    if (!troubleText(status).isEmpty()) {
        return dark ? QColor(0xd29922) : QColor(0x9a6700);
    }
    if (status.mode == LogsMode::live) {
        return dark ? QColor(0x4ac26b) : QColor(0x1a7f37);
    }
    return palette.color(QPalette::PlaceholderText);
}

} // namespace

LogsStatusBar::LogsStatusBar(QWidget* parent)
    : QWidget(parent), dot_(new QLabel(QStringLiteral("●"), this)), text_(new QLabel(this)),
      progress_(new QProgressBar(this)), stop_(new QToolButton(this)) {
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(12, 4, 12, 4);
    row->setSpacing(7);
    row->addWidget(dot_);
    row->addWidget(text_, 1);
    row->addWidget(progress_);
    row->addWidget(stop_);

    text_->setTextFormat(Qt::PlainText);
    text_->setObjectName(QStringLiteral("statusText"));
    text_->setAccessibleName(tr("State of the log"));
    text_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    progress_->setObjectName(QStringLiteral("progress"));
    progress_->setAccessibleName(tr("How much of the period has arrived"));
    progress_->setRange(0, kSteps);
    progress_->setTextVisible(false);
    progress_->setFixedSize(fontMetrics().averageCharWidth() * 24, fontMetrics().height() / 2 + 2);
    stop_->setObjectName(QStringLiteral("stop"));
    stop_->setText(tr("Stop"));
    stop_->setToolTip(tr("Keep what has arrived and ask for no more (Ctrl+.)"));
    stop_->setAutoRaise(true);
    connect(stop_, &QToolButton::clicked, this, &LogsStatusBar::stop);
    setProgress({});
    // The line keeps its height whether or not the button is there.
    setMinimumHeight(stop_->sizeHint().height() + 8);
}

void LogsStatusBar::showStatus(const LogsStatus& status) {
    const QString text = statusText(status);
    if (text_->text() != text) {
        text_->setText(text);
    }
    const QString trouble = troubleText(status);
    text_->setToolTip(trouble.isEmpty() ? text : trouble);
    const QColor colour = dotColour(status, palette());
    if (dot_->palette().color(QPalette::WindowText) != colour) {
        QPalette coloured = dot_->palette();
        coloured.setColor(QPalette::WindowText, colour);
        dot_->setPalette(coloured);
    }
}

void LogsStatusBar::setProgress(std::optional<double> fraction) {
    progress_->setVisible(fraction.has_value());
    stop_->setVisible(fraction.has_value());
    if (fraction) {
        progress_->setValue(static_cast<int>(*fraction * kSteps));
    }
}

QString LogsStatusBar::text() const {
    return text_->text();
}

} // namespace brindle
