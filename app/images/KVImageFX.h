// SPDX-License-Identifier: BSD-2-Clause
//
// The picture operations that the parts below the windows are given: ovals and scaled copies, drawn
// as images in memory, never on a device. Owned by the composition root; any thread.
//
//     const KVImageFX effects(application.devicePixelRatio());
//     VDXSystemUserDB(users, effects).build();
#pragma once

#include "core/log/records/ImageEffects.h"

#include <QImage>

namespace brindle {

class KVImageFX final : public ImageEffects {
  public:
    /// `pixelRatio`: pixels to a point in the pictures that are made, the sharpest screen's.
    explicit KVImageFX(double pixelRatio) : pixelRatio_(pixelRatio) {}

    /// PNG, JPEG, GIF, BMP, and WebP where there is a reader for it, turned upright. A large
    /// picture is taken in at a smaller size; one that would take long to read (JPEG: above 16
    /// million pixels, others: above 2 million) is none.
    Picture load(std::string_view bytes) const override;
    PictureSize size(const Picture& picture) const override;
    bool has(const std::string& name) const override;
    Picture roundImage(const Picture& source, double width, double height) const override;
    Picture resizedImage(const Picture& source, double width, double height) const override;

  private:
    /// Premultiplied pixels; null for a picture without any.
    QImage pixels(const Picture& picture) const;

    const double pixelRatio_;
};

} // namespace brindle
