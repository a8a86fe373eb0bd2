// SPDX-License-Identifier: BSD-2-Clause
//
// How the parts below the windows have one picture made from another: accounts' and nations'
// pictures are clipped to ovals and made small once, so that rows only hold ready ones. Implemented
// beside the windows and handed in by the composition root. Lengths are points. Any thread.
//
//     const auto size = effects.size(picture);
//     const Picture oval = effects.roundImage(picture, size.width, size.height);
#pragma once

#include "core/log/records/Picture.h"

#include <string>
#include <string_view>

namespace brindle {

struct PictureSize {
    double width = 0;
    double height = 0;
    friend bool operator==(const PictureSize&, const PictureSize&) = default;
};

class ImageEffects {
  public:
    virtual ~ImageEffects() = default;

    /// The picture in the bytes of an image file; the empty one when they are not an image.
    virtual Picture load(std::string_view bytes) const = 0;
    /// Its own size; zero for the empty picture or a name without a resource.
    virtual PictureSize size(const Picture& picture) const = 0;
    /// Whether there is a resource of that name; does not look into it where it can tell without.
    virtual bool has(const std::string& name) const {
        return size(Picture::named(name)) != PictureSize{};
    }
    /// A new picture of the source's size: the source at the origin, clipped to the ellipse
    /// inscribed in (0, 0, width, height). Empty for a picture without size.
    virtual Picture roundImage(const Picture& source, double width, double height) const = 0;
    /// A new picture of this size: the source scaled to fill it, whatever its proportions. Empty
    /// for a picture without size.
    virtual Picture resizedImage(const Picture& source, double width, double height) const = 0;
};

} // namespace brindle
