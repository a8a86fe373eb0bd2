// SPDX-License-Identifier: BSD-2-Clause
//
// The four lists that are derived from the exclusion list and that records are tested against. A
// plain value, made anew by every commit.
#pragma once

#include "core/exclusions/VDXExclusion.h"

#include <span>
#include <string>
#include <vector>

namespace brindle {

/// The addresses strictly between two texts, by numericTextOrder.
struct ExcludedRange {
    std::string low;
    std::string high;
    friend bool operator==(const ExcludedRange&, const ExcludedRange&) = default;
};

/// Each list in the order of the exclusion list.
struct ExclusionLists {
    std::vector<std::string> excludedPorts;
    std::vector<std::string> excludedAddresses;
    std::vector<ExcludedRange> excludedRangesV4;
    std::vector<ExcludedRange> excludedRangesV6; ///< of every version but 4

    friend bool operator==(const ExclusionLists&, const ExclusionLists&) = default;
};

/// Entries of a type other than "ip", "cidr" and "port" are in no list.
ExclusionLists deriveExclusionLists(std::span<const VDXExclusion> exclusionList);

} // namespace brindle
