// SPDX-License-Identifier: BSD-2-Clause
#include "core/exclusions/ExclusionStorage.h"

#include <string_view>
#include <unordered_set>

namespace brindle {

void ExclusionChange::applyTo(std::vector<VDXExclusion>& exclusionList) const {
    const std::unordered_set<std::string_view> texts(removed.begin(), removed.end());
    std::erase_if(exclusionList,
                  [&](const VDXExclusion& entry) { return texts.contains(entry.exclusion); });
    exclusionList.insert(exclusionList.end(), added.begin(), added.end());
}

} // namespace brindle
