// SPDX-License-Identifier: BSD-2-Clause
//
// The rows of a tally as a table shows them: filtered and sorted, ties in the order they came
// (`ipArrayController`, `portArrayController`, `statisticsArrayController`). It watches the rows:
// a reload shows at once; counts that change and rows that come are gathered until `flush`, which
// the model calls a few times a second. Owned by a view, next to its rows; main thread.
//
//     TallyArrayController controller(tallies.arrayip);
//     controller.setFilter(TallyFilter("198.51.100.0/24"));
#pragma once

#include "app/tallies/TallyFilter.h"
#include "app/tallies/TallySortKey.h"
#include "core/stats/TallyRows.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace brindle {

/// Told of changes of the arrangement, in the terms of the toolkit's models. While an "about to"
/// call runs the arrangement is still the old one; in the call after it, the new one.
class TallyArrangementObserver {
  public:
    virtual ~TallyArrangementObserver() = default;
    /// `count` rows come after the last one.
    virtual void rowsAboutToBeAppended(std::size_t count) = 0;
    virtual void rowsAppended() = 0;
    /// The last `count` rows go.
    virtual void rowsAboutToBeCut(std::size_t count) = 0;
    virtual void rowsCut() = 0;
    /// The same rows in another order; newPositions[old position] is where a row went.
    virtual void rowsAboutToBeRearranged() = 0;
    virtual void rowsRearranged(std::span<const std::uint32_t> newPositions) = 0;
    /// The old rows have gone already.
    virtual void aboutToBeReset() = 0;
    virtual void wasReset() = 0;
    /// What one row shows changed, but for its count.
    virtual void rowChanged(std::size_t position) = 0;
    /// Counts of any rows changed, and with them the share of all.
    virtual void countsChanged() = 0;
    /// Changes wait for `flush`; told once until it came.
    virtual void flushWanted() = 0;
};

class TallyArrayController final : private TallyRowsObserver {
  public:
    /// Takes the rows there are already. `rows` outlives the controller, whose observer it becomes.
    explicit TallyArrayController(TallyRows& rows);
    ~TallyArrayController() override;
    TallyArrayController(const TallyArrayController&) = delete;
    TallyArrayController& operator=(const TallyArrayController&) = delete;

    /// Null: nobody is told.
    void setObserver(TallyArrangementObserver* observer);

    const TallySort& sort() const { return sort_; }
    void setSort(TallySort sort);
    void setFilter(TallyFilter filter);
    bool filtering() const { return !filter_.empty(); }
    /// Shows what was gathered.
    void flush();

    /// Rows that pass the filter.
    std::size_t arrangedCount() const { return arranged_.size(); }
    const TallyRows::Row& arrangedRow(std::size_t position) const {
        return rows_.at(arranged_[position]);
    }
    /// Rows of the list, shown or not.
    std::size_t count() const { return values_.size(); }
    /// Sum of all counts, shown or not, as of the last flush or reload.
    std::int64_t total() const { return total_; }
    std::int64_t largest() const { return largest_; }

  private:
    using Place = std::uint32_t;

    void rowsReset() override;
    void rowAdded(std::size_t place) override;
    void rowChanged(std::size_t place, VisualizerProperty property) override;

    void touch(std::size_t place);
    std::vector<Place> absorb();
    void load();
    void makeKeys();
    void rearrange();
    std::vector<Place> sorted() const;
    bool passes(Place place) const;
    bool before(Place a, Place b) const;
    void install(std::vector<Place> next);
    void reorder(std::vector<Place> next);
    void notePositions();

    TallyRows& rows_;
    TallyArrangementObserver* observer_ = nullptr;
    TallySort sort_;
    TallyFilter filter_;

    // By place in the list.
    std::vector<std::int64_t> values_; ///< counts as they are shown
    std::vector<TallySortKey> keys_;   ///< by the sorted column
    std::vector<Place> positions_;     ///< in arranged_; kNowhere when not shown
    std::vector<bool> isTouched_;

    std::vector<Place> arranged_;
    std::vector<Place> touched_; ///< changed or new since the last flush
    std::int64_t total_ = 0;
    std::int64_t largest_ = 0;
};

} // namespace brindle
