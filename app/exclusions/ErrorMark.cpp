// SPDX-License-Identifier: BSD-2-Clause
#include "app/exclusions/ErrorMark.h"

#include "app/images/PictureStore.h"

#include <QPainter>

namespace brindle {
namespace {

constexpr QSize kSize(16, 16);

} // namespace

ErrorMark::ErrorMark(QWidget* parent) : QWidget(parent) {
    QSizePolicy policy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    policy.setRetainSizeWhenHidden(true);
    setSizePolicy(policy);
}

void ErrorMark::setPictures(PictureStore& pictures) {
    pictures_ = &pictures;
}

QSize ErrorMark::sizeHint() const {
    return kSize;
}

void ErrorMark::paintEvent(QPaintEvent*) {
    if (pictures_ == nullptr) {
        return;
    }
    QPainter painter(this);
    painter.drawImage(
        QPoint((width() - kSize.width()) / 2, (height() - kSize.height()) / 2),
        pictures_->imageNow(Picture::named("mistake"), kSize, devicePixelRatioF(), palette()));
}

} // namespace brindle
