// SPDX-License-Identifier: BSD-2-Clause
//
// Draws the pictures that rows and windows hold as handles: named ones from the application's SVG
// resources, coloured to suit a light or dark palette, and ones that come as pixels. Drawing
// happens on a worker, at the pixel ratio asked for; until a picture is there its place stays
// empty. Owned by the composition root, used on the main thread.
//
//     const QImage image = store.image(log.usericon(), QSize(16, 16), devicePixelRatio(),
//     palette());
#pragma once

#include "core/log/records/Picture.h"
#include "platform/queue/DispatchQueue.h"

#include <QHash>
#include <QImage>
#include <QObject>
#include <QPalette>
#include <QSize>
#include <QString>

#include <memory>

namespace brindle {

class PictureStore final : public QObject {
    Q_OBJECT
  public:
    /// `worker`: where pictures are drawn. `main`: where they are handed over.
    PictureStore(std::shared_ptr<platform::DispatchQueue> worker,
                 std::shared_ptr<platform::DispatchQueue> main, QObject* parent = nullptr);
    ~PictureStore() override;

    /// The picture, as large as fits `points` at `pixelRatio`, its proportions kept. A null image
    /// while it is being drawn (`drawn` is emitted once it is there), and for the empty picture or
    /// a name without a resource.
    QImage image(const Picture& picture, QSize points, qreal pixelRatio, const QPalette& palette);

    /// The same at once, on the calling thread: for the few pictures that a window opens with.
    QImage imageNow(const Picture& picture, QSize points, qreal pixelRatio,
                    const QPalette& palette);

    /// A picture of that name is among the resources.
    static bool contains(const QString& name);

    /// Text is lighter than its background.
    static bool isDark(const QPalette& palette);

  signals:
    /// Pictures asked for earlier can be had now; at most once an event-loop turn.
    void drawn();

  private:
    struct Key {
        QString name; ///< empty for pixels
        const void* content = nullptr;
        QSize pixels;
        QRgb ink = 0; ///< colour of the palette's text; pixels have none
        friend bool operator==(const Key&, const Key&) = default;
    };
    friend size_t qHash(const Key& key, size_t seed) {
        return qHashMulti(seed, key.name, key.content, key.pixels.width(), key.pixels.height(),
                          key.ink);
    }
    struct Entry {
        Picture keptAlive; ///< so that its address stays its own
        QImage image;
        bool asked = false;
    };
    Key keyFor(const Picture& picture, QSize points, qreal pixelRatio,
               const QPalette& palette) const;

    const std::shared_ptr<platform::DispatchQueue> worker_;
    const std::shared_ptr<platform::DispatchQueue> main_;
    QHash<Key, Entry> entries_;
    bool announced_ = false;
};

/// Draws one picture as large as fits `pixels`; any thread. `ink` takes the place of "currentColor"
/// in named pictures.
QImage drawPicture(const Picture& picture, QSize pixels, QRgb ink);

} // namespace brindle
