// SPDX-License-Identifier: BSD-2-Clause
//
// The pictures of the table's cells: icons of the store's images for one widget's palette and
// screen, kept so that painting a cell looks a pointer up. Owned by the logs view, main thread.
#pragma once

#include "app/logs/table/PictureSource.h"

#include <QHash>
#include <QWidget>

namespace brindle {

class PictureStore;

class RowPictures final : public PictureSource {
  public:
    /// All outlive this. `widget`: whose palette and screen count.
    RowPictures(PictureStore& store, const QWidget& widget) : store_(store), widget_(widget) {}

    QIcon forPicture(const Picture& picture) override;
    /// The palette or the screen changed.
    void forget() { icons_.clear(); }

  private:
    struct Kept {
        Picture picture; ///< keeps the address its own
        QIcon icon;
    };
    PictureStore& store_;
    const QWidget& widget_;
    QHash<const Picture::Content*, Kept> icons_;
};

} // namespace brindle
