// SPDX-License-Identifier: BSD-2-Clause
#include "core/geo/VDXNationVisualizer.h"

#include "core/geo/NationNames.h"

#include <utility>

namespace brindle {

VDXNationVisualizer::VDXNationVisualizer(std::string_view key, platform::TextArray blocks,
                                         const ImageEffects& pictures)
    : isoName(key), nationAddresses(std::move(blocks)) {
    if (pictures.has(isoName))
        flag = Picture::named(isoName);
    const auto known = nationName(key);
    name = known ? std::string(*known) : "Unknown (ISO:" + isoName + ")";
}

} // namespace brindle
