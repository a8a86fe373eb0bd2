// SPDX-License-Identifier: BSD-2-Clause
//
// The derived lists with what makes asking them quick: hash sets of ports and addresses, indexes of
// ranges. Made whole by a commit, immutable, read from any thread. Its answers are those of a scan
// over the lists.
#pragma once

#include "core/exclusions/ExclusionLists.h"
#include "core/exclusions/RangeIndex.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

namespace brindle {

/// Texts by equality. Most records hold none of them, and a bit says so without a look at the
/// texts.
class TextSet {
  public:
    /// The texts must outlive the set.
    explicit TextSet(const std::vector<std::string>& texts);
    bool contains(std::string_view text) const;

  private:
    std::size_t bitOf(std::string_view text) const;

    std::unordered_set<std::string_view> texts_;
    std::vector<bool> present_; ///< one bit for all texts of the same hash remainder
};

class ExclusionMatcher {
  public:
    explicit ExclusionMatcher(ExclusionLists lists);
    ExclusionMatcher(const ExclusionMatcher&) = delete; // the sets point into the lists
    ExclusionMatcher& operator=(const ExclusionMatcher&) = delete;

    const ExclusionLists& lists() const { return lists_; }

    /// Ports and addresses count when their texts are equal, whatever the family; ranges only for
    /// families 4 and 6, without their bounds.
    bool isExcluded(std::string_view srcip, std::string_view srcport, std::string_view dstip,
                    std::string_view dstport, int family) const;
    bool isPortExcluded(std::string_view port) const { return ports_.contains(port); }
    /// Ranges of every family but 4 are those of 6.
    bool isAddressExcluded(std::string_view address, int family) const;

  private:
    ExclusionLists lists_;
    TextSet ports_;
    TextSet addresses_;
    RangeIndex rangesV4_;
    RangeIndex rangesV6_;
};

} // namespace brindle
