// SPDX-License-Identifier: BSD-2-Clause
//
// The slots of the rows that are shown, in the order shown, and how a change of them is told: as
// few insertions, removals and rearrangements as a view can follow at little cost. Owned by the
// array controller; main thread.
#pragma once

#include "app/logs/table/LogRows.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

namespace brindle {

/// Told of changes of the arrangement. Positions count arranged rows. While an "about to" call runs
/// the arrangement is still the old one; in the call after it, the new one.
class ArrangementObserver {
  public:
    virtual ~ArrangementObserver() = default;
    virtual void rowsAboutToBeInserted(std::size_t first, std::size_t count) = 0;
    virtual void rowsInserted() = 0;
    virtual void rowsAboutToBeRemoved(std::size_t first, std::size_t count) = 0;
    virtual void rowsRemoved() = 0;
    /// The same rows in another order; newPositions[old position] is where a row went.
    virtual void rowsAboutToBeRearranged() = 0;
    virtual void rowsRearranged(std::span<const std::uint32_t> newPositions) = 0;
    virtual void aboutToBeCleared() = 0;
    virtual void cleared() = 0;
    /// Texts of one row changed.
    virtual void rowChanged(std::size_t position) = 0;
    /// The number of rows, arranged or not, or whether work is under way may have changed.
    virtual void arrangementCountsChanged() = 0;
};

class ArrangedRows {
  public:
    using Slots = std::vector<RowSlot>;

    void setObserver(ArrangementObserver* observer) { observer_ = observer; }
    ArrangementObserver* observer() const { return observer_; }

    std::size_t size() const { return slots_.size(); }
    RowSlot operator[](std::size_t position) const { return slots_[position]; }
    std::span<const RowSlot> slots() const { return slots_; }

    void insert(std::size_t position, std::span<const RowSlot> slots);
    void remove(std::size_t position, std::size_t count);
    void clear();

    /// A run of rows that goes in before (or comes out at) a position of the present arrangement.
    struct Insertion {
        std::size_t position;
        Slots slots;
    };
    struct Removal {
        std::size_t position;
        std::size_t count;
    };
    /// Both in ascending order of position; insertions' positions count the rows as they are now.
    void apply(const std::vector<Removal>& removals, const std::vector<Insertion>& insertions,
               const LogRows& rows);

    /// Becomes `next`. Rows in both keep their identity (selection, scroll position); each change
    /// costs a view some milliseconds, so a scattered change is told as: reorder so that the rows
    /// that go stand together, remove them, insert the new ones together, reorder.
    void install(Slots next, const LogRows& rows);

    std::size_t memoryBytes() const { return slots_.capacity() * sizeof(RowSlot); }

  private:
    void reorder(Slots next, const LogRows& rows);

    Slots slots_;
    ArrangementObserver* observer_ = nullptr;
};

} // namespace brindle
