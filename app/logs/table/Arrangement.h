// SPDX-License-Identifier: BSD-2-Clause
//
// Filtering and sorting all rows at once, from a snapshot that shares the rows' batches and copies
// nothing else but what single rows changed. A pure function; any thread.
#pragma once

#include "app/logs/table/FilterExpression.h"
#include "app/logs/table/LogRows.h"
#include "app/logs/table/SortOrder.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace brindle {

/// A row that is not shown just as its batch has it, judged beforehand.
struct JudgedRow {
    std::int64_t place = 0;
    bool passes = true;
    SortKey key; ///< by the column of the sort, if there is one
};

struct ArrangementInput {
    std::int64_t beginPlace = 0;
    std::int64_t endPlace = 0;
    std::vector<RowRun> runs;
    std::vector<JudgedRow> judged; ///< by place; includes every row without a batch
    FilterNames names;
    std::shared_ptr<const FilterExpression> filter; ///< null: every row passes
    std::optional<SortOrder> sort;                  ///< none: insertion order
};

/// The rows that pass, in the order of the sort, ties in insertion order. Nothing once `abandoned`
/// was set.
std::optional<std::vector<RowSlot>> arrange(const ArrangementInput& input,
                                            const std::atomic<bool>& abandoned);

} // namespace brindle
