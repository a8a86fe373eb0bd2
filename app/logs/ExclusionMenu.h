// SPDX-License-Identifier: BSD-2-Clause
//
// What the exclusion menu offers for a record: its addresses, the blocks around them and its ports,
// each with the entry that would be added to the exclusion list. Pure; any thread.
#pragma once

#include "core/exclusions/BlockAround.h"
#include "core/exclusions/VDXExclusion.h"

#include <string>
#include <vector>

namespace brindle {

struct ExclusionChoice {
    std::string title;
    VDXExclusion exclusion;
};

/// The two addresses and ports of one record, as texts.
struct ExclusionSubject {
    std::string srcip, srcport, dstip, dstport;
};

/// Six choices: source address and subnet, destination address and subnet, destination port, source
/// port. The family of both addresses is the destination's.
std::vector<ExclusionChoice> exclusionChoices(const ExclusionSubject& subject);

} // namespace brindle
