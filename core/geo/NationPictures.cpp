// SPDX-License-Identifier: BSD-2-Clause
#include "core/geo/NationPictures.h"

namespace brindle {
namespace {

constexpr PictureSize kSmallFlag{24, 16};  ///< points
constexpr PictureSize kSmallGlobe{16, 16}; ///< points

} // namespace

const NationPictures::Pair& NationPictures::globe() {
    return made("terra", kSmallGlobe);
}

const NationPictures::Pair& NationPictures::flag(const std::string& key) {
    if (!effects_.has(key))
        return globe();
    const Pair& pair = made(key, kSmallFlag);
    // A resource that cannot be drawn is as good as none.
    return pair.ovalImage.isEmpty() ? globe() : pair;
}

const NationPictures::Pair& NationPictures::made(const std::string& name, PictureSize small) {
    const auto [place, isNew] = flagImageCache_.try_emplace(name);
    if (isNew) {
        // Drawn once at its own size, for both: flags can be costly drawings.
        const Picture named = Picture::named(name);
        const PictureSize size = effects_.size(named);
        const Picture source = effects_.resizedImage(named, size.width, size.height);
        place->second = {effects_.roundImage(source, size.width, size.height),
                         effects_.resizedImage(source, small.width, small.height)};
    }
    return place->second;
}

} // namespace brindle
