// SPDX-License-Identifier: BSD-2-Clause
#include "app/logs/RowPictures.h"

#include "app/images/PictureStore.h"
#include "app/logs/LogsDelegate.h"

#include <QPixmap>

namespace brindle {

QIcon RowPictures::forPicture(const Picture& picture) {
    if (picture.isEmpty()) {
        return {};
    }
    if (const auto kept = icons_.constFind(picture.content()); kept != icons_.constEnd()) {
        return kept->icon;
    }
    const QImage image = store_.image(picture, LogsDelegate::pictureSize(),
                                      widget_.devicePixelRatioF(), widget_.palette());
    if (image.isNull()) {
        return {};
    }
    const QIcon icon(QPixmap::fromImage(image));
    icons_.insert(picture.content(), {picture, icon});
    return icon;
}

} // namespace brindle
