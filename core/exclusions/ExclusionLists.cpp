// SPDX-License-Identifier: BSD-2-Clause
#include "core/exclusions/ExclusionLists.h"

namespace brindle {

ExclusionLists deriveExclusionLists(std::span<const VDXExclusion> exclusionList) {
    ExclusionLists lists;
    for (const VDXExclusion& entry : exclusionList) {
        if (entry.type == "ip")
            lists.excludedAddresses.push_back(entry.exclusion);
        else if (entry.type == "port")
            lists.excludedPorts.push_back(entry.exclusion);
        else if (entry.type == "cidr" && entry.versionIP == 4)
            lists.excludedRangesV4.push_back({entry.lrange, entry.hrange});
        else if (entry.type == "cidr")
            lists.excludedRangesV6.push_back({entry.lrange, entry.hrange});
    }
    return lists;
}

} // namespace brindle
