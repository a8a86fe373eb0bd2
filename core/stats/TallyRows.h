// SPDX-License-Identifier: BSD-2-Clause
//
// The rows of one tally in the order they came: the list that a list window calls `arrayip` or
// `arrayport`, and a statistics window `arrayforcontroller`. Finds a row by what was counted. Tells
// its one observer, the array controller above it, what changed. Owned by a view; main thread.
#pragma once

#include "core/stats/VisualizerObj.h"

#include <cstddef>
#include <memory>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace brindle {

class TallyRowsObserver {
  public:
    virtual ~TallyRowsObserver() = default;
    /// Every row was replaced.
    virtual void rowsReset() = 0;
    /// The row at `place`, the last one, is new.
    virtual void rowAdded(std::size_t place) = 0;
    virtual void rowChanged(std::size_t place, VisualizerProperty property) = 0;
};

class TallyRows final : private VisualizerObserver {
  public:
    using Row = std::shared_ptr<VisualizerObj>;

    TallyRows() = default;
    ~TallyRows() override;
    TallyRows(const TallyRows&) = delete;
    TallyRows& operator=(const TallyRows&) = delete;

    /// Null: nobody is told.
    void setObserver(TallyRowsObserver* observer) { observer_ = observer; }

    /// Returns the rows of before: they are no longer the list's.
    std::vector<Row> replace(std::vector<Row> rows);
    void add(Row row);

    std::size_t size() const { return rows_.size(); }
    const Row& at(std::size_t place) const { return rows_[place]; }
    const std::vector<Row>& rows() const { return rows_; }
    /// The first row that counts this address or port text; null when there is none.
    const Row* find(std::string_view originallabel) const;

  private:
    void visualizerChanged(VisualizerObj& row, VisualizerProperty property) override;
    void release();

    std::vector<Row> rows_;
    /// Made when a row is first looked for: most lists only get read.
    mutable std::unordered_map<std::string_view, std::size_t> places_;
    mutable bool indexed_ = false;
    TallyRowsObserver* observer_ = nullptr;
};

} // namespace brindle
