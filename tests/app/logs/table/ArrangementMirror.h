// SPDX-License-Identifier: BSD-2-Clause
//
// An observer that follows every change it is told as a view does, and so notices one that is told
// wrongly.
#pragma once

#include "app/logs/table/LogsArrayController.h"

#include <cstddef>
#include <vector>

namespace brindle::testing {

class ArrangementMirror final : public ArrangementObserver {
  public:
    explicit ArrangementMirror(LogsArrayController& controller) : controller_(controller) {
        controller_.setObserver(this);
    }
    ~ArrangementMirror() override { controller_.setObserver(nullptr); }

    const std::vector<LogId>& ids() const { return ids_; }
    /// Every row stands where the changes put it.
    bool agrees() const { return valid_ && ids_ == now(); }

    std::size_t changes = 0; ///< insertions, removals and rearrangements told

    void rowsAboutToBeInserted(std::size_t first, std::size_t count) override {
        valid_ = valid_ && agrees() && count > 0;
        first_ = first;
        count_ = count;
    }
    void rowsInserted() override {
        ++changes;
        std::vector<LogId> inserted;
        for (std::size_t i = first_; i < first_ + count_; ++i)
            inserted.push_back(controller_.idAt(i));
        ids_.insert(ids_.begin() + static_cast<std::ptrdiff_t>(first_), inserted.begin(),
                    inserted.end());
        valid_ = agrees();
    }
    void rowsAboutToBeRemoved(std::size_t first, std::size_t count) override {
        valid_ = valid_ && agrees() && count > 0;
        const auto begin = ids_.begin() + static_cast<std::ptrdiff_t>(first);
        ids_.erase(begin, begin + static_cast<std::ptrdiff_t>(count));
    }
    void rowsRemoved() override {
        ++changes;
        valid_ = agrees();
    }
    void rowsAboutToBeRearranged() override { valid_ = agrees(); }
    void rowsRearranged(std::span<const std::uint32_t> newPositions) override {
        ++changes;
        std::vector<LogId> moved(ids_.size());
        for (std::size_t i = 0; i < ids_.size(); ++i)
            moved[newPositions[i]] = ids_[i];
        ids_ = std::move(moved);
        valid_ = agrees();
    }
    void aboutToBeCleared() override {}
    void cleared() override { ids_.clear(); }
    void rowChanged(std::size_t position) override {
        valid_ = valid_ && position < controller_.arrangedCount();
    }
    void arrangementCountsChanged() override {}

  private:
    std::vector<LogId> now() const {
        std::vector<LogId> all(controller_.arrangedCount());
        for (std::size_t i = 0; i < all.size(); ++i)
            all[i] = controller_.idAt(i);
        return all;
    }

    LogsArrayController& controller_;
    std::vector<LogId> ids_;
    bool valid_ = true; ///< so far
    std::size_t first_ = 0;
    std::size_t count_ = 0;
};

} // namespace brindle::testing
