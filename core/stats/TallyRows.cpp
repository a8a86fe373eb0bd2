// SPDX-License-Identifier: BSD-2-Clause
#include "core/stats/TallyRows.h"

#include <utility>

namespace brindle {

TallyRows::~TallyRows() {
    release();
}

std::vector<TallyRows::Row> TallyRows::replace(std::vector<Row> rows) {
    places_.clear(); // its keys are texts of the rows
    indexed_ = false;
    release();
    std::vector<Row> old = std::exchange(rows_, std::move(rows));
    for (std::size_t place = 0; place < rows_.size(); ++place)
        rows_[place]->setObserver(this, place);
    if (observer_ != nullptr)
        observer_->rowsReset();
    return old;
}

void TallyRows::add(Row row) {
    row->setObserver(this, rows_.size());
    rows_.push_back(std::move(row));
    const std::size_t place = rows_.size() - 1;
    if (indexed_)
        places_.try_emplace(rows_[place]->originallabel(), place);
    if (observer_ != nullptr)
        observer_->rowAdded(place);
}

const TallyRows::Row* TallyRows::find(std::string_view originallabel) const {
    if (!indexed_) {
        places_.reserve(rows_.size());
        for (std::size_t place = 0; place < rows_.size(); ++place)
            places_.try_emplace(rows_[place]->originallabel(), place);
        indexed_ = true;
    }
    const auto found = places_.find(originallabel);
    return found == places_.end() ? nullptr : &rows_[found->second];
}

void TallyRows::visualizerChanged(VisualizerObj& row, VisualizerProperty property) {
    if (observer_ != nullptr)
        observer_->rowChanged(row.place(), property);
}

void TallyRows::release() {
    // A row may outlive the list: a look-up that answers holds it.
    for (const Row& row : rows_)
        row->setObserver(nullptr, 0);
}

} // namespace brindle
