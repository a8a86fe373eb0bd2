// SPDX-License-Identifier: BSD-2-Clause
#include "app/images/PictureResource.h"

#include <QFile>

// The resources sit in static libraries: the linker drops them unless they are asked for, and the
// macro that asks does not work inside a namespace.
static void initPictureResources() {
    Q_INIT_RESOURCE(pictures);
    Q_INIT_RESOURCE(flags);
}

namespace brindle {

PictureResource pictureResource(const QString& name) {
    static const bool ready = (initPictureResources(), true);
    Q_UNUSED(ready);
    // Names come from files too: none leads out of the pictures' folders.
    if (name.isEmpty() || name.contains(QLatin1Char('/'))) {
        return {};
    }
    if (QString path = QStringLiteral(":/pictures/%1.svg").arg(name); QFile::exists(path)) {
        return {std::move(path), PictureResource::Kind::drawing};
    }
    if (QString path = QStringLiteral(":/flags/%1.svg").arg(name.toLower()); QFile::exists(path)) {
        return {std::move(path), PictureResource::Kind::flag};
    }
    return {};
}

} // namespace brindle
