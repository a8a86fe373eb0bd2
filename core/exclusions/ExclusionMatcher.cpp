// SPDX-License-Identifier: BSD-2-Clause
#include "core/exclusions/ExclusionMatcher.h"

#include <utility>

namespace brindle {
namespace {

bool holdsEither(const std::unordered_set<std::string_view>& texts, std::string_view a,
                 std::string_view b) {
    return !texts.empty() && (texts.contains(a) || texts.contains(b));
}

} // namespace

ExclusionMatcher::ExclusionMatcher(ExclusionLists lists)
    : lists_(std::move(lists)), ports_(lists_.excludedPorts.begin(), lists_.excludedPorts.end()),
      addresses_(lists_.excludedAddresses.begin(), lists_.excludedAddresses.end()),
      rangesV4_(lists_.excludedRangesV4), rangesV6_(lists_.excludedRangesV6) {}

bool ExclusionMatcher::isExcluded(std::string_view srcip, std::string_view srcport,
                                  std::string_view dstip, std::string_view dstport,
                                  int family) const {
    if (holdsEither(ports_, srcport, dstport) || holdsEither(addresses_, srcip, dstip))
        return true;
    if (family == 4)
        return rangesV4_.covers(srcip) || rangesV4_.covers(dstip);
    if (family == 6)
        return rangesV6_.covers(srcip) || rangesV6_.covers(dstip);
    return false;
}

} // namespace brindle
