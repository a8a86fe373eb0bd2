// SPDX-License-Identifier: BSD-2-Clause
//
// Where an address is, as tally rows show it: the answer of VDXNationInfo. Made on the look-up's
// queue, then shared and never changed; any thread.
#pragma once

#include "core/log/records/Picture.h"

#include <memory>
#include <optional>
#include <string>

namespace brindle {

struct NationInfoRecord {
    std::string name;                   ///< of the nation or special location
    Picture ovalImage;                  ///< at its own size
    std::optional<std::string> isoName; ///< database key; none for special locations
    Picture smallImage;                 ///< at icon size
};

using NationInfo = std::shared_ptr<const NationInfoRecord>;

} // namespace brindle
