// SPDX-License-Identifier: BSD-2-Clause
//
// How the array controller tells of changes of the arrangement: in the terms of the toolkit's
// models, without the toolkit. Main thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

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

} // namespace brindle
