// SPDX-License-Identifier: BSD-2-Clause
#include "app/images/KVImageFX.h"

#include "app/images/PictureResource.h"
#include "app/images/PictureStore.h"

#include <QBuffer>
#include <QByteArrayList>
#include <QImageReader>
#include <QPainter>
#include <QPainterPath>
#include <QSvgRenderer>

#include <cstring>
#include <utility>
#include <vector>

namespace brindle {
namespace {

/// What reading may cost at start-up, in pixels: a few bytes can stand for any number of them. JPEG
/// files are read at a fraction of their size, others whole.
constexpr qint64 kMostPixels = 2'000'000;
constexpr qint64 kMostJpegPixels = 16'000'000;
/// Pictures with two longer sides are brought down until the shorter one has this length: the
/// largest that is shown, on a screen of two pixels to a point.
constexpr int kLoadedSide = 256;

/// Formats that only hold pixels: nothing in them can refer to other files.
bool isPlainImageFormat(const QByteArray& format) {
    static const QByteArrayList formats{"png", "jpeg", "gif", "bmp", "webp"};
    return formats.contains(format);
}

Picture pictureOf(const QImage& image) {
    if (image.isNull()) {
        return {};
    }
    const QImage source = image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    const auto width = static_cast<std::size_t>(source.width());
    std::vector<std::uint32_t> argb(width * static_cast<std::size_t>(source.height()));
    for (int row = 0; row < source.height(); ++row) {
        std::memcpy(argb.data() + static_cast<std::size_t>(row) * width, source.constScanLine(row),
                    width * sizeof(std::uint32_t));
    }
    return Picture::fromPixels(source.width(), source.height(), std::move(argb));
}

QSize resourceSize(const std::string& name) {
    const PictureResource resource = pictureResource(QString::fromStdString(name));
    if (resource.path.isEmpty()) {
        return {};
    }
    // The sources of flags are far larger than anything they are shown at.
    return resource.kind == PictureResource::Kind::flag ? QSize(kFlagWidth, kFlagHeight)
                                                        : QSvgRenderer(resource.path).defaultSize();
}

bool hasPixels(const Picture::Content& content) {
    return content.width > 0 && content.height > 0 &&
           content.argb.size() ==
               static_cast<std::size_t>(content.width) * static_cast<std::size_t>(content.height);
}

} // namespace

Picture KVImageFX::load(std::string_view bytes) const {
    QByteArray data = QByteArray::fromRawData(bytes.data(), static_cast<qsizetype>(bytes.size()));
    QBuffer buffer(&data);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer);
    reader.setDecideFormatFromContent(true);
    reader.setAutoTransform(true);
    const QSize size = reader.size();
    const qint64 most = reader.format() == "jpeg" ? kMostJpegPixels : kMostPixels;
    if (!isPlainImageFormat(reader.format()) || size.isEmpty() ||
        qint64(size.width()) * size.height() > most) {
        return {};
    }
    if (size.width() > kLoadedSide && size.height() > kLoadedSide) {
        reader.setScaledSize(size.scaled(kLoadedSide, kLoadedSide, Qt::KeepAspectRatioByExpanding));
    }
    return pictureOf(reader.read());
}

QImage KVImageFX::pixels(const Picture& picture) const {
    const Picture::Content* const content = picture.content();
    if (content == nullptr) {
        return {};
    }
    if (!content->name.empty()) {
        const QSize size = (QSizeF(resourceSize(content->name)) * pixelRatio_).toSize();
        return drawPicture(picture, size, qRgb(0, 0, 0));
    }
    if (!hasPixels(*content)) {
        return {};
    }
    // Only read from, and not kept beyond the picture.
    return QImage(reinterpret_cast<const uchar*>(content->argb.data()), content->width,
                  content->height, content->width * 4, QImage::Format_ARGB32_Premultiplied);
}

PictureSize KVImageFX::size(const Picture& picture) const {
    const Picture::Content* const content = picture.content();
    if (content == nullptr) {
        return {};
    }
    if (!content->name.empty()) {
        const QSize size = resourceSize(content->name);
        return size.isEmpty() ? PictureSize{}
                              : PictureSize{double(size.width()), double(size.height())};
    }
    return hasPixels(*content)
               ? PictureSize{content->width / pixelRatio_, content->height / pixelRatio_}
               : PictureSize{};
}

bool KVImageFX::has(const std::string& name) const {
    return !pictureResource(QString::fromStdString(name)).path.isEmpty();
}

Picture KVImageFX::roundImage(const Picture& source, double width, double height) const {
    const QImage pixels = this->pixels(source);
    if (pixels.isNull()) {
        return {};
    }
    QImage oval(pixels.size(), QImage::Format_ARGB32_Premultiplied);
    oval.fill(Qt::transparent);
    QPainterPath ellipse;
    ellipse.setFillRule(Qt::OddEvenFill);
    ellipse.addEllipse(QRectF(0, 0, width * pixelRatio_, height * pixelRatio_));
    QPainter painter(&oval);
    painter.setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform);
    painter.setClipPath(ellipse);
    painter.drawImage(QPointF(0, 0), pixels);
    painter.end();
    return pictureOf(oval);
}

Picture KVImageFX::resizedImage(const Picture& source, double width, double height) const {
    const QSize size = (QSizeF(width, height) * pixelRatio_).toSize();
    const QImage pixels = this->pixels(source);
    if (pixels.isNull() || size.isEmpty()) {
        return {};
    }
    return pictureOf(pixels.scaled(size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation));
}

} // namespace brindle
