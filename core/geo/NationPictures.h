// SPDX-License-Identifier: BSD-2-Clause
//
// The pictures that come with the answers of a nation look-up, each made once from the picture of
// its name and then shared. Owned by VDXNationInfo and used on its queue only.
#pragma once

#include "core/log/records/ImageEffects.h"
#include "core/log/records/Picture.h"

#include <string>
#include <unordered_map>

namespace brindle {

class NationPictures {
  public:
    struct Pair {
        Picture ovalImage;  ///< the source's size, clipped to an oval
        Picture smallImage; ///< icon size
    };

    /// `effects` outlives the pictures.
    explicit NationPictures(const ImageEffects& effects) : effects_(effects) {}

    /// The picture named "terra".
    const Pair& globe();
    /// The flag of a database key; the globe where there is none.
    const Pair& flag(const std::string& key);

  private:
    const Pair& made(const std::string& name, PictureSize small);

    const ImageEffects& effects_;
    std::unordered_map<std::string, Pair> flagImageCache_; ///< by the source's name
};

} // namespace brindle
