// SPDX-License-Identifier: BSD-2-Clause
//
// The user's list of addresses, blocks and ports that are not to be shown, with the lists derived
// from it and the test of records against them. One a process, owned by the composition root. Main
// thread only, but for isExcluded, which any thread may ask and which never waits.
//
//     ExclusionList exclusions(storage, [&] { refreshOpenViews(); });
//     exclusions.loadExclusions();
#pragma once

#include "core/exclusions/ExclusionCommands.h"
#include "core/exclusions/ExclusionMatcher.h"
#include "core/exclusions/ExclusionStorage.h"
#include "core/exclusions/SnapshotCell.h"
#include "core/log/records/ExclusionTest.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace brindle {

class ExclusionList final : public ExclusionCommands, public ExclusionTest {
  public:
    /// `refreshViews` is called at the end of every commit: reload the editor, refill the logs view
    /// in live mode, reload the list views. `storage` outlives the list.
    ExclusionList(ExclusionStorage& storage, std::function<void()> refreshViews);

    /// Appends the stored entries and commits once. Called once, at start-up.
    void loadExclusions();
    void addExclusion(VDXExclusion exclusion) override;
    /// Removes every entry whose `exclusion` is one of these texts, whatever its type, and commits
    /// once. Nothing happens when there is none.
    void removeExclusions(std::span<const std::string> texts);

    /// In the order in which entries were added; duplicates are kept.
    const std::vector<VDXExclusion>& exclusionList() const { return exclusionList_; }
    /// Valid until the next commit.
    const ExclusionLists& derivedLists() const { return *lists_; }

    bool isExcluded(std::string_view srcip, std::string_view srcport, std::string_view dstip,
                    std::string_view dstport, int family) const override;
    bool isPortExcluded(std::string_view port) const override;
    bool isAddressExcluded(std::string_view address, int family) const override;

  private:
    /// Stores the list, rebuilds the derived lists, refreshes the views.
    void commitExclusions(ExclusionChange change);
    void rebuild();
    /// Takes over what another viewer of the same user changed in the store.
    void adopt(std::uint64_t commit, std::vector<VDXExclusion> stored);

    ExclusionStorage& storage_;
    std::function<void()> refreshViews_;
    std::vector<VDXExclusion> exclusionList_;
    std::uint64_t commits_ = 0;
    SnapshotCell<ExclusionMatcher> matcher_;
    const ExclusionLists* lists_ = nullptr; ///< those of the current matcher
    std::shared_ptr<ExclusionList*> self_;  ///< answers of the storage may come after our end
};

} // namespace brindle
