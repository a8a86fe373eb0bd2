// SPDX-License-Identifier: BSD-2-Clause
#include "app/images/PictureStore.h"

#include "app/images/PictureResource.h"

#include <QColor>
#include <QFile>
#include <QPainter>
#include <QPointer>
#include <QSvgRenderer>

namespace brindle {
namespace {

/// Colours that the pictures are drawn in, and what takes their place on a dark background.
struct DarkColour {
    const char* light;
    const char* dark;
};
constexpr DarkColour kDarkColours[] = {
    {"#1a7f37", "#4ac26b"}, // passed
    {"#c62828", "#ff7b72"}, // blocked
    {"#1f6feb", "#6cb0ff"}, // accent
    {"#ffffff", "#15181c"}, // marks that stand on one of the above
};

bool isLight(QRgb colour) {
    return qGray(colour) > 127;
}

QImage drawSvg(const QString& name, QSize pixels, QRgb ink) {
    const PictureResource resource = pictureResource(name);
    QFile file(resource.path);
    if (!file.open(QIODevice::ReadOnly)) {
        return {};
    }
    QByteArray source = file.readAll();
    const bool isDrawing = resource.kind == PictureResource::Kind::drawing;
    if (isDrawing) {
        source.replace("currentColor", QColor(ink).name().toLatin1());
    }
    if (isDrawing && isLight(ink)) {
        for (const DarkColour& colour : kDarkColours) {
            source.replace(colour.light, colour.dark);
        }
    }
    QSvgRenderer renderer(source);
    if (!renderer.isValid()) {
        return {};
    }
    QImage image(renderer.defaultSize().scaled(pixels, Qt::KeepAspectRatio),
                 QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    renderer.render(&painter, QRectF(image.rect()));
    return image;
}

QImage drawPixels(const Picture::Content& content, QSize pixels) {
    if (content.width <= 0 || content.height <= 0 ||
        content.argb.size() != static_cast<std::size_t>(content.width) * content.height) {
        return {};
    }
    const QImage source(reinterpret_cast<const uchar*>(content.argb.data()), content.width,
                        content.height, content.width * 4, QImage::Format_ARGB32_Premultiplied);
    return source.scaled(pixels, Qt::KeepAspectRatio, Qt::SmoothTransformation);
}

} // namespace

QImage drawPicture(const Picture& picture, QSize pixels, QRgb ink) {
    const Picture::Content* content = picture.content();
    if (content == nullptr || pixels.isEmpty()) {
        return {};
    }
    return content->name.empty() ? drawPixels(*content, pixels)
                                 : drawSvg(QString::fromStdString(content->name), pixels, ink);
}

PictureStore::PictureStore(std::shared_ptr<platform::DispatchQueue> worker,
                           std::shared_ptr<platform::DispatchQueue> main, QObject* parent)
    : QObject(parent), worker_(std::move(worker)), main_(std::move(main)) {}

PictureStore::~PictureStore() = default;

bool PictureStore::contains(const QString& name) {
    return !pictureResource(name).path.isEmpty();
}

bool PictureStore::isDark(const QPalette& palette) {
    return isLight(palette.color(QPalette::Active, QPalette::Text).rgb());
}

PictureStore::Key PictureStore::keyFor(const Picture& picture, QSize points, qreal pixelRatio,
                                       const QPalette& palette) const {
    Key key;
    key.pixels = (QSizeF(points) * pixelRatio).toSize();
    if (picture.content()->name.empty()) {
        key.content = picture.content();
    } else {
        key.name = QString::fromStdString(picture.content()->name);
        key.ink = palette.color(QPalette::Active, QPalette::Text).rgb();
    }
    return key;
}

QImage PictureStore::image(const Picture& picture, QSize points, qreal pixelRatio,
                           const QPalette& palette) {
    if (picture.isEmpty()) {
        return {};
    }
    const Key key = keyFor(picture, points, pixelRatio, palette);
    Entry& entry = entries_[key];
    if (!entry.asked) {
        entry.asked = true;
        entry.keptAlive = picture;
        worker_->async(
            [store = QPointer<PictureStore>(this), main = main_, key, picture, pixelRatio] {
                QImage image = drawPicture(picture, key.pixels, key.ink);
                image.setDevicePixelRatio(pixelRatio);
                main->async([store, key, image = std::move(image)] {
                    if (!store) {
                        return;
                    }
                    store->entries_[key].image = image;
                    if (!store->announced_) {
                        store->announced_ = true;
                        QMetaObject::invokeMethod(
                            store,
                            [store] {
                                store->announced_ = false;
                                emit store->drawn();
                            },
                            Qt::QueuedConnection);
                    }
                });
            });
    }
    return entry.image;
}

QImage PictureStore::imageNow(const Picture& picture, QSize points, qreal pixelRatio,
                              const QPalette& palette) {
    if (picture.isEmpty()) {
        return {};
    }
    const Key key = keyFor(picture, points, pixelRatio, palette);
    Entry& entry = entries_[key];
    if (entry.image.isNull()) {
        entry.asked = true;
        entry.keptAlive = picture;
        entry.image = drawPicture(picture, key.pixels, key.ink);
        entry.image.setDevicePixelRatio(pixelRatio);
    }
    return entry.image;
}

} // namespace brindle
