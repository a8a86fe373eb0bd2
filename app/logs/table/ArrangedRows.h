// SPDX-License-Identifier: BSD-2-Clause
//
// The slots of the rows that are shown, in the order shown, and how a change of them is told: as
// few insertions, removals and rearrangements as a view can follow at little cost. Owned by the
// array controller; main thread.
#pragma once

#include "app/logs/table/ArrangementObserver.h"
#include "app/logs/table/LogRows.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace brindle {

class ArrangedRows {
  public:
    using Slots = std::vector<RowSlot>;

    void setObserver(ArrangementObserver* observer) { observer_ = observer; }
    ArrangementObserver* observer() const { return observer_; }

    std::size_t size() const { return slots_.size(); }
    RowSlot operator[](std::size_t position) const { return slots_[position]; }
    std::span<const RowSlot> shown() const { return slots_; }

    void insert(std::size_t position, std::span<const RowSlot> added);
    void remove(std::size_t position, std::size_t count);
    void clear();

    /// A run of rows that goes in before (or comes out at) a position of the present arrangement.
    struct Insertion {
        std::size_t position;
        Slots added;
    };
    struct Removal {
        std::size_t position;
        std::size_t count;
    };
    /// The runs of rows from position `first` that `chosen` holds for.
    template <typename Chosen>
    std::vector<Removal> runsWhere(std::size_t first, Chosen chosen) const {
        std::vector<Removal> runs;
        for (std::size_t i = first; i < slots_.size(); ++i) {
            if (!chosen(slots_[i]))
                continue;
            if (!runs.empty() && runs.back().position + runs.back().count == i)
                ++runs.back().count;
            else
                runs.push_back({i, 1});
        }
        return runs;
    }
    template <typename Chosen>
    void removeWhere(Chosen chosen, const LogRows& rows) {
        apply(runsWhere(0, chosen), {}, rows);
    }
    /// Of an arrangement in insertion order: the first position with a row at `place` or after it.
    std::size_t firstFrom(std::int64_t place, const LogRows& rows) const;

    /// Both in ascending order of position; insertions' positions count the rows as they are now.
    void apply(const std::vector<Removal>& removals, const std::vector<Insertion>& insertions,
               const LogRows& rows);

    /// Becomes `next`. Rows in both keep their identity (selection, scroll position); each change
    /// costs a view some milliseconds, so a scattered change is told as: reorder so that the rows
    /// that go stand together, remove them, insert the new ones together, reorder.
    void install(Slots next, const LogRows& rows);

    std::size_t memoryBytes() const {
        return (slots_.capacity() + positions_.capacity()) * sizeof(RowSlot);
    }

  private:
    void reorder(Slots next, const LogRows& rows);
    void notePositions(std::span<const RowSlot> shown, const LogRows& rows);

    Slots slots_;
    /// Scratch: positions by LogRows::order, of whichever slots were noted last.
    std::vector<std::uint32_t> positions_;
    ArrangementObserver* observer_ = nullptr;
};

} // namespace brindle
