// SPDX-License-Identifier: BSD-2-Clause
#include "app/images/WindowPicture.h"

#include <QDir>
#include <QLoggingCategory>
#include <QPixmap>
#include <QSaveFile>

namespace brindle {
namespace {

constexpr std::int64_t kManyRows = 20;
constexpr int kSettleMs = 250;   ///< with many rows: until they are painted, pictures included
constexpr int kFewRowsMs = 2000; ///< with fewer: perhaps more come

} // namespace

WindowPicture::WindowPicture(QWidget* window, QString directory, QString name)
    : QObject(window), window_(window), directory_(std::move(directory)), name_(std::move(name)),
      done_(directory_.isEmpty()) {
    timer_.setSingleShot(true);
    connect(&timer_, &QTimer::timeout, this, &WindowPicture::save);
}

void WindowPicture::contentChanged(std::int64_t rowsShown) {
    if (done_) {
        return;
    }
    if (rowsShown == 0) {
        timer_.stop();
        many_ = false;
    } else if (rowsShown >= kManyRows && !many_) {
        many_ = true;
        timer_.start(kSettleMs);
    } else if (!timer_.isActive()) {
        timer_.start(kFewRowsMs);
    }
}

void WindowPicture::save() {
    if (!window_->isVisible()) {
        return;
    }
    done_ = true;
    QDir().mkpath(directory_);
    const QString path = QDir(directory_).filePath(name_ + QStringLiteral(".png"));
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || !window_->grab().save(&file, "PNG") || !file.commit()) {
        qWarning("cannot save the picture %s: %s", qUtf8Printable(path),
                 qUtf8Printable(file.errorString()));
        return;
    }
    emit saved(path);
}

} // namespace brindle
