// SPDX-License-Identifier: BSD-2-Clause
//
// One nation of the database: its key, its name, its flag and the address blocks listed under it. A
// plain value; NationsDatabase holds one for each key.
#pragma once

#include "core/log/records/ImageEffects.h"
#include "core/log/records/Picture.h"
#include "platform/plist/TextArrays.h"

#include <string>
#include <string_view>

namespace brindle {

struct VDXNationVisualizer {
    /// All fields empty.
    VDXNationVisualizer() = default;
    /// A key without a row in the table of names is called "Unknown (ISO:key)"; one without a flag
    /// among the pictures keeps the empty image.
    VDXNationVisualizer(std::string_view key, platform::TextArray blocks,
                        const ImageEffects& pictures);

    std::string isoName;                 ///< as written in the database
    platform::TextArray nationAddresses; ///< "2.32.0.0/11", in the order of the database
    Picture flag;
    std::string name;
};

} // namespace brindle
