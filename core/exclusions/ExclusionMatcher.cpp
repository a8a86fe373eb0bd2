// SPDX-License-Identifier: BSD-2-Clause
#include "core/exclusions/ExclusionMatcher.h"

#include <bit>
#include <functional>
#include <utility>

namespace brindle {

TextSet::TextSet(const std::vector<std::string>& texts) : texts_(texts.begin(), texts.end()) {
    if (texts_.empty())
        return;
    present_.resize(std::bit_ceil(texts_.size() * 16)); // one look-up in 16 goes on to the texts
    for (const std::string_view text : texts_)
        present_[bitOf(text)] = true;
}

std::size_t TextSet::bitOf(std::string_view text) const {
    return std::hash<std::string_view>{}(text) & (present_.size() - 1);
}

bool TextSet::contains(std::string_view text) const {
    return !present_.empty() && present_[bitOf(text)] && texts_.contains(text);
}

ExclusionMatcher::ExclusionMatcher(ExclusionLists lists)
    : lists_(std::move(lists)), ports_(lists_.excludedPorts), addresses_(lists_.excludedAddresses),
      rangesV4_(lists_.excludedRangesV4), rangesV6_(lists_.excludedRangesV6) {}

bool ExclusionMatcher::isExcluded(std::string_view srcip, std::string_view srcport,
                                  std::string_view dstip, std::string_view dstport,
                                  int family) const {
    if (ports_.contains(srcport) || ports_.contains(dstport) || addresses_.contains(srcip) ||
        addresses_.contains(dstip))
        return true;
    if (family == 4)
        return rangesV4_.covers(srcip) || rangesV4_.covers(dstip);
    if (family == 6)
        return rangesV6_.covers(srcip) || rangesV6_.covers(dstip);
    return false;
}

bool ExclusionMatcher::isAddressExcluded(std::string_view address, int family) const {
    return addresses_.contains(address) || (family == 4 ? rangesV4_ : rangesV6_).covers(address);
}

} // namespace brindle
