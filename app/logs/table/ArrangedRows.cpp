// SPDX-License-Identifier: BSD-2-Clause
#include "app/logs/table/ArrangedRows.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace brindle {
namespace {

/// Up to so many changes are told one by one; a rearrangement costs a view about as much as these.
constexpr std::size_t kFewChanges = 8;

constexpr std::uint32_t kNowhere = std::numeric_limits<std::uint32_t>::max();

std::size_t placesOf(const LogRows& rows) {
    return static_cast<std::size_t>(rows.endPlace() - rows.beginPlace());
}

/// The runs of numbers below `size` that `chosen` holds for.
template <typename Chosen>
std::vector<ArrangedRows::Removal> runsBelow(std::size_t size, Chosen chosen) {
    std::vector<ArrangedRows::Removal> runs;
    for (std::size_t i = 0; i < size; ++i) {
        if (!chosen(i))
            continue;
        if (!runs.empty() && runs.back().position + runs.back().count == i)
            ++runs.back().count;
        else
            runs.push_back({i, 1});
    }
    return runs;
}

} // namespace

void ArrangedRows::insert(std::size_t position, std::span<const RowSlot> added) {
    if (added.empty())
        return;
    if (observer_)
        observer_->rowsAboutToBeInserted(position, added.size());
    slots_.insert(slots_.begin() + static_cast<std::ptrdiff_t>(position), added.begin(),
                  added.end());
    if (observer_)
        observer_->rowsInserted();
}

void ArrangedRows::remove(std::size_t position, std::size_t count) {
    if (count == 0)
        return;
    if (observer_)
        observer_->rowsAboutToBeRemoved(position, count);
    const auto first = slots_.begin() + static_cast<std::ptrdiff_t>(position);
    slots_.erase(first, first + static_cast<std::ptrdiff_t>(count));
    if (observer_)
        observer_->rowsRemoved();
}

void ArrangedRows::clear() {
    if (observer_)
        observer_->aboutToBeCleared();
    slots_ = Slots();
    positions_ = {};
    if (observer_)
        observer_->cleared();
}

std::size_t ArrangedRows::firstFrom(std::int64_t place, const LogRows& rows) const {
    const auto at = std::ranges::partition_point(
        slots_, [&](RowSlot slot) { return rows.placeOf(slot) < place; });
    return static_cast<std::size_t>(at - slots_.begin());
}

void ArrangedRows::apply(const std::vector<Removal>& removals,
                         const std::vector<Insertion>& insertions, const LogRows& rows) {
    if (removals.size() + insertions.size() > kFewChanges) {
        Slots next;
        next.reserve(slots_.size());
        std::size_t kept = 0;
        auto insertion = insertions.begin();
        const auto keepUntil = [&](std::size_t position) {
            for (; insertion != insertions.end() && insertion->position <= position; ++insertion) {
                next.insert(next.end(), slots_.begin() + static_cast<std::ptrdiff_t>(kept),
                            slots_.begin() +
                                static_cast<std::ptrdiff_t>(std::max(kept, insertion->position)));
                kept = std::max(kept, insertion->position);
                next.insert(next.end(), insertion->added.begin(), insertion->added.end());
            }
            next.insert(next.end(), slots_.begin() + static_cast<std::ptrdiff_t>(kept),
                        slots_.begin() + static_cast<std::ptrdiff_t>(std::max(kept, position)));
            kept = std::max(kept, position);
        };
        for (const Removal& removal : removals) {
            keepUntil(removal.position);
            kept = removal.position + removal.count;
        }
        keepUntil(slots_.size());
        install(std::move(next), rows);
        return;
    }
    // From the end, so that positions before stay what they are.
    for (auto removal = removals.rbegin(); removal != removals.rend(); ++removal)
        remove(removal->position, removal->count);
    for (auto insertion = insertions.rbegin(); insertion != insertions.rend(); ++insertion) {
        std::size_t position = insertion->position;
        for (const Removal& removal : removals)
            if (removal.position < insertion->position)
                position -= std::min(removal.count, insertion->position - removal.position);
        insert(position, insertion->added);
    }
}

void ArrangedRows::install(Slots next, const LogRows& rows) {
    const auto front =
        static_cast<std::size_t>(std::ranges::mismatch(slots_, next).in1 - slots_.begin());
    const std::size_t shorter = std::min(slots_.size(), next.size());
    std::size_t back = 0;
    while (back < shorter - front &&
           slots_[slots_.size() - 1 - back] == next[next.size() - 1 - back])
        ++back;
    const std::size_t oldCount = slots_.size() - back - front;
    const std::size_t newCount = next.size() - back - front;
    const std::span<const RowSlot> wanted(next.data() + front, newCount);
    if (oldCount == 0) {
        insert(front, wanted);
        return;
    }
    if (newCount == 0) {
        remove(front, oldCount);
        return;
    }

    // A fresh megabyte costs more than writing it: one table of positions is kept and used again.
    notePositions(wanted, rows);
    std::vector<bool> isShown(placesOf(rows));
    for (std::size_t i = 0; i < oldCount; ++i)
        isShown[rows.order(slots_[front + i])] = true;
    const auto wantedAt = [&](std::size_t i) { return positions_[rows.order(slots_[front + i])]; };
    const auto goes = [&](std::size_t i) { return wantedAt(i) == kNowhere; };
    const auto comes = [&](std::size_t i) { return !isShown[rows.order(wanted[i])]; };
    const std::vector<Removal> going = runsBelow(oldCount, goes);
    const std::vector<Removal> coming = runsBelow(newCount, comes);

    bool ordered = true; ///< rows that stay stand in the wanted order
    std::uint32_t last = 0;
    for (std::size_t i = 0; i < oldCount && ordered; ++i) {
        const std::uint32_t at = wantedAt(i);
        if (at == kNowhere)
            continue;
        ordered = last <= at;
        last = at;
    }

    if (!going.empty()) {
        if (ordered && going.size() <= kFewChanges) {
            for (auto run = going.rbegin(); run != going.rend(); ++run)
                remove(front + run->position, run->count);
        } else {
            Slots grouped(slots_.begin(), slots_.begin() + static_cast<std::ptrdiff_t>(front));
            for (std::size_t i = 0; i < newCount; ++i)
                if (!comes(i))
                    grouped.push_back(wanted[i]);
            const std::size_t firstGoing = grouped.size();
            for (std::size_t i = 0; i < oldCount; ++i)
                if (goes(i))
                    grouped.push_back(slots_[front + i]);
            const std::size_t lastGoing = grouped.size();
            grouped.insert(grouped.end(), slots_.end() - static_cast<std::ptrdiff_t>(back),
                           slots_.end());
            reorder(std::move(grouped), rows);
            remove(firstGoing, lastGoing - firstGoing);
            ordered = true;
        }
    }
    if (!coming.empty()) {
        if (ordered && coming.size() <= kFewChanges) {
            for (const Removal& run : coming)
                insert(front + run.position, wanted.subspan(run.position, run.count));
        } else {
            Slots together;
            for (const Removal& run : coming) {
                const auto slots = wanted.subspan(run.position, run.count);
                together.insert(together.end(), slots.begin(), slots.end());
            }
            insert(slots_.size() - back, together);
            ordered = false;
        }
    }
    if (!ordered)
        reorder(std::move(next), rows);
}

void ArrangedRows::notePositions(std::span<const RowSlot> slots, const LogRows& rows) {
    positions_.assign(placesOf(rows), kNowhere);
    for (std::size_t i = 0; i < slots.size(); ++i)
        positions_[rows.order(slots[i])] = static_cast<std::uint32_t>(i);
}

void ArrangedRows::reorder(Slots next, const LogRows& rows) {
    if (!observer_) {
        slots_ = std::move(next);
        return;
    }
    notePositions(next, rows);
    std::vector<std::uint32_t> newPositions(slots_.size());
    for (std::size_t i = 0; i < slots_.size(); ++i)
        newPositions[i] = positions_[rows.order(slots_[i])];
    observer_->rowsAboutToBeRearranged();
    slots_ = std::move(next);
    observer_->rowsRearranged(newPositions);
}

} // namespace brindle
