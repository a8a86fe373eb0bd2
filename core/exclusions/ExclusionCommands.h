// SPDX-License-Identifier: BSD-2-Clause
//
// What windows ask of the exclusion list. Main thread only.
#pragma once

#include "core/exclusions/VDXExclusion.h"

namespace brindle {

class ExclusionCommands {
  public:
    virtual ~ExclusionCommands() = default;
    /// Appends an entry and commits: stores the list and refreshes the open views.
    virtual void addExclusion(VDXExclusion exclusion) = 0;
};

} // namespace brindle
