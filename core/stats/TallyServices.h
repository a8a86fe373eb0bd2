// SPDX-License-Identifier: BSD-2-Clause
//
// What tallies are asked, filtered and annotated with, as the composition root hands it on. A value
// of handles; everything it points to outlives every row.
#pragma once

#include "core/log/BrindleHelper.h"
#include "core/log/LogExtra.h"
#include "core/log/LogTables.h"
#include "core/log/records/ExclusionTest.h"
#include "platform/queue/DispatchQueue.h"

#include <memory>

namespace brindle {

class VDXNationInfo;

struct TallyServices {
    platform::Queues queues;
    std::shared_ptr<BrindleHelper> helper;
    const ExclusionTest* exclusions = nullptr;
    const PortNames* portNames = nullptr;
    NameServices names; ///< the resolver is null where names are not looked up
    /// Shared with the look-ups that are still running when the windows have gone. Null: rows stay
    /// without a nation.
    std::shared_ptr<VDXNationInfo> nationInfo;
};

} // namespace brindle
