// SPDX-License-Identifier: BSD-2-Clause
#include "core/exclusions/ExclusionList.h"

#include <iterator>
#include <utility>

namespace brindle {

ExclusionList::ExclusionList(ExclusionStorage& storage, std::function<void()> refreshViews)
    : storage_(storage), refreshViews_(std::move(refreshViews)),
      matcher_(std::make_unique<const ExclusionMatcher>(ExclusionLists())),
      self_(std::make_shared<ExclusionList*>(this)) {
    rebuild();
}

void ExclusionList::loadExclusions() {
    std::vector<VDXExclusion> stored = storage_.read();
    if (stored.empty())
        return;
    exclusionList_.insert(exclusionList_.end(), std::make_move_iterator(stored.begin()),
                          std::make_move_iterator(stored.end()));
    // Changes nothing in the store but the form of entries that had missing or mistyped parts.
    commitExclusions({});
}

void ExclusionList::addExclusion(VDXExclusion exclusion) {
    exclusionList_.push_back(exclusion);
    commitExclusions({.added = {std::move(exclusion)}, .removed = {}});
}

void ExclusionList::removeExclusions(std::span<const std::string> texts) {
    ExclusionChange change{.added = {}, .removed = {texts.begin(), texts.end()}};
    const std::size_t before = exclusionList_.size();
    change.applyTo(exclusionList_);
    if (exclusionList_.size() != before)
        commitExclusions(std::move(change));
}

bool ExclusionList::isExcluded(std::string_view srcip, std::string_view srcport,
                               std::string_view dstip, std::string_view dstport, int family) const {
    return matcher_.read([&](const ExclusionMatcher& matcher) {
        return matcher.isExcluded(srcip, srcport, dstip, dstport, family);
    });
}

bool ExclusionList::isPortExcluded(std::string_view port) const {
    return matcher_.read(
        [&](const ExclusionMatcher& matcher) { return matcher.isPortExcluded(port); });
}

bool ExclusionList::isAddressExcluded(std::string_view address, int family) const {
    return matcher_.read([&](const ExclusionMatcher& matcher) {
        return matcher.isAddressExcluded(address, family);
    });
}

void ExclusionList::commitExclusions(ExclusionChange change) {
    ++commits_;
    storage_.store(std::move(change), exclusionList_,
                   [self = std::weak_ptr(self_), commit = commits_](auto stored) {
                       if (const auto list = self.lock())
                           (*list)->adopt(commit, std::move(stored));
                   });
    rebuild();
    refreshViews_();
}

void ExclusionList::rebuild() {
    auto matcher = std::make_unique<const ExclusionMatcher>(deriveExclusionLists(exclusionList_));
    lists_ = &matcher->lists();
    matcher_.replace(std::move(matcher));
}

void ExclusionList::adopt(std::uint64_t commit, std::vector<VDXExclusion> stored) {
    // The answer to an older commit lacks what was changed since; the newest one has everything.
    if (commit != commits_ || stored == exclusionList_)
        return;
    exclusionList_ = std::move(stored);
    rebuild();
    refreshViews_();
}

} // namespace brindle
