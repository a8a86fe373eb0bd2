// SPDX-License-Identifier: BSD-2-Clause
#include "app/images/PictureIcon.h"

#include "app/images/PictureStore.h"

#include <QGuiApplication>
#include <QIconEngine>
#include <QPainter>
#include <QPixmap>
#include <QPointer>

namespace brindle {
namespace {

/// How much of a picture is left when its control is disabled.
constexpr qreal kDisabledOpacity = 0.4;

class PictureIconEngine final : public QIconEngine {
  public:
    PictureIconEngine(PictureStore& store, const QString& name)
        : store_(&store), picture_(Picture::named(name.toStdString())) {}

    void paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State) override {
        if (!store_) {
            return;
        }
        const QImage image =
            store_->imageNow(picture_, rect.size(), painter->device()->devicePixelRatioF(),
                             QGuiApplication::palette());
        if (mode == QIcon::Disabled) {
            painter->setOpacity(painter->opacity() * kDisabledOpacity);
        }
        const QSize size = image.deviceIndependentSize().toSize();
        painter->drawImage(QPoint(rect.x() + (rect.width() - size.width()) / 2,
                                  rect.y() + (rect.height() - size.height()) / 2),
                           image);
    }

    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override {
        QImage image(size, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        QPainter painter(&image);
        paint(&painter, QRect(QPoint(), size), mode, state);
        painter.end();
        return QPixmap::fromImage(image);
    }

    QIconEngine* clone() const override { return new PictureIconEngine(*this); }

  private:
    QPointer<PictureStore> store_;
    Picture picture_;
};

} // namespace

QIcon pictureIcon(PictureStore& store, const QString& name) {
    return QIcon(new PictureIconEngine(store, name));
}

} // namespace brindle
