// SPDX-License-Identifier: BSD-2-Clause
#include "app/tallies/TallyArrayController.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <utility>

namespace brindle {
namespace {

constexpr std::uint32_t kNowhere = std::numeric_limits<std::uint32_t>::max();

} // namespace

TallyArrayController::TallyArrayController(TallyRows& rows) : rows_(rows) {
    rows_.setObserver(this);
    load();
}

TallyArrayController::~TallyArrayController() {
    rows_.setObserver(nullptr);
}

void TallyArrayController::setObserver(TallyArrangementObserver* observer) {
    observer_ = observer;
    if (observer_ != nullptr && !touched_.empty())
        observer_->flushWanted();
}

void TallyArrayController::setSort(TallySort sort) {
    if (sort == sort_)
        return;
    sort_ = sort;
    absorb();
    makeKeys();
    rearrange();
}

void TallyArrayController::setFilter(TallyFilter filter) {
    filter_ = std::move(filter);
    absorb();
    rearrange();
}

void TallyArrayController::flush() {
    if (touched_.empty())
        return;
    std::vector<Place> staying;
    staying.reserve(arranged_.size());
    std::ranges::copy_if(arranged_, std::back_inserter(staying),
                         [this](Place place) { return !isTouched_[place]; });
    std::vector<Place> moving;
    const std::vector<Place> touched = absorb();
    std::ranges::copy_if(touched, std::back_inserter(moving),
                         [this](Place place) { return passes(place); });
    const auto order = [this](Place a, Place b) { return before(a, b); };
    std::ranges::sort(moving, order);
    std::vector<Place> next;
    next.reserve(staying.size() + moving.size());
    std::ranges::merge(staying, moving, std::back_inserter(next), order);
    install(std::move(next));
    if (observer_ != nullptr)
        observer_->countsChanged();
}

/// Takes over what the touched rows count now, and returns them.
std::vector<TallyArrayController::Place> TallyArrayController::absorb() {
    std::vector<Place> touched = std::exchange(touched_, {});
    for (const Place place : touched) {
        isTouched_[place] = false;
        const VisualizerObj& row = *rows_.at(place);
        total_ += row.value() - values_[place];
        largest_ = std::max(largest_, row.value());
        values_[place] = row.value();
        keys_[place] = tallySortKey(row, sort_.column);
    }
    return touched;
}

void TallyArrayController::rowsReset() {
    // The old rows have gone, and with them what the arrangement stood for.
    arranged_.clear();
    if (observer_ != nullptr)
        observer_->aboutToBeReset();
    load();
    if (observer_ != nullptr)
        observer_->wasReset();
}

void TallyArrayController::rowAdded(std::size_t place) {
    values_.push_back(0);
    keys_.emplace_back();
    positions_.push_back(kNowhere);
    isTouched_.push_back(false);
    touch(place);
}

void TallyArrayController::rowChanged(std::size_t place, VisualizerProperty property) {
    if (property == VisualizerProperty::value) {
        touch(place);
        return;
    }
    if (filtering() ||
        (property == VisualizerProperty::nation && sort_.column == TallyColumn::nation))
        touch(place);
    if (positions_[place] != kNowhere && observer_ != nullptr)
        observer_->rowChanged(positions_[place]);
}

void TallyArrayController::touch(std::size_t place) {
    if (isTouched_[place])
        return;
    isTouched_[place] = true;
    touched_.push_back(static_cast<Place>(place));
    if (touched_.size() == 1 && observer_ != nullptr)
        observer_->flushWanted();
}

void TallyArrayController::load() {
    const std::size_t size = rows_.size();
    touched_.clear();
    isTouched_.assign(size, false);
    values_.resize(size);
    total_ = 0;
    largest_ = 0;
    for (std::size_t place = 0; place < size; ++place) {
        values_[place] = rows_.at(place)->value();
        total_ += values_[place];
        largest_ = std::max(largest_, values_[place]);
    }
    positions_.assign(size, kNowhere);
    makeKeys();
    arranged_ = sorted();
    notePositions();
}

void TallyArrayController::makeKeys() {
    keys_.resize(rows_.size());
    for (std::size_t place = 0; place < keys_.size(); ++place)
        keys_[place] = tallySortKey(*rows_.at(place), sort_.column);
}

void TallyArrayController::rearrange() {
    install(sorted());
    if (observer_ != nullptr)
        observer_->countsChanged();
}

/// Every row that passes the filter, in order.
std::vector<TallyArrayController::Place> TallyArrayController::sorted() const {
    std::vector<Place> places;
    places.reserve(values_.size());
    for (Place place = 0; place < values_.size(); ++place)
        if (passes(place))
            places.push_back(place);
    // A reply comes in the order that its rows are shown in first.
    const auto order = [this](Place a, Place b) { return before(a, b); };
    if (!std::ranges::is_sorted(places, order))
        std::ranges::sort(places, order);
    return places;
}

bool TallyArrayController::passes(Place place) const {
    return filter_.empty() || filter_.matches(*rows_.at(place));
}

bool TallyArrayController::before(Place a, Place b) const {
    const TallySortKey& first = keys_[a];
    const TallySortKey& second = keys_[b];
    const bool firstMissing = first.kind == TallySortKey::kMissing;
    const bool secondMissing = second.kind == TallySortKey::kMissing;
    if (firstMissing != secondMissing)
        return secondMissing;
    const auto order =
        sort_.direction == TallySortDirection::ascending ? first <=> second : second <=> first;
    return order != 0 ? order < 0 : a < b;
}

/// Becomes `next`. Rows in both keep their identity (selection, scroll position): those that go are
/// brought to the end and cut, new ones appended, and all put in order.
void TallyArrayController::install(std::vector<Place> next) {
    if (next == arranged_)
        return;
    std::vector<bool> isNext(values_.size(), false);
    for (const Place place : next)
        isNext[place] = true;
    std::vector<Place> staying = arranged_;
    const auto leaving =
        std::ranges::stable_partition(staying, [&](Place place) { return isNext[place]; });
    if (const std::size_t count = leaving.size(); count > 0) {
        reorder(std::move(staying));
        if (observer_ != nullptr)
            observer_->rowsAboutToBeCut(count);
        for (std::size_t i = arranged_.size() - count; i < arranged_.size(); ++i)
            positions_[arranged_[i]] = kNowhere;
        arranged_.resize(arranged_.size() - count);
        if (observer_ != nullptr)
            observer_->rowsCut();
    }
    std::vector<Place> entering;
    std::ranges::copy_if(next, std::back_inserter(entering),
                         [this](Place place) { return positions_[place] == kNowhere; });
    if (!entering.empty()) {
        if (observer_ != nullptr)
            observer_->rowsAboutToBeAppended(entering.size());
        arranged_.insert(arranged_.end(), entering.begin(), entering.end());
        notePositions();
        if (observer_ != nullptr)
            observer_->rowsAppended();
    }
    reorder(std::move(next));
}

void TallyArrayController::reorder(std::vector<Place> next) {
    if (next == arranged_)
        return;
    if (observer_ != nullptr)
        observer_->rowsAboutToBeRearranged();
    const std::vector<Place> old = std::exchange(arranged_, std::move(next));
    notePositions();
    if (observer_ == nullptr)
        return;
    std::vector<std::uint32_t> newPositions(old.size());
    std::ranges::transform(old, newPositions.begin(),
                           [this](Place place) { return positions_[place]; });
    observer_->rowsRearranged(newPositions);
}

void TallyArrayController::notePositions() {
    for (std::size_t position = 0; position < arranged_.size(); ++position)
        positions_[arranged_[position]] = static_cast<std::uint32_t>(position);
}

} // namespace brindle
