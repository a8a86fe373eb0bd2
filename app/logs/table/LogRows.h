// SPDX-License-Identifier: BSD-2-Clause
//
// The rows of the logs table in insertion order, growing at both ends, with two ways to name one: a
// slot (32 bits, what arrangements are made of) and an identity (64 bits, never given twice). A row
// stays at its address in memory until it is removed. Owned by the array controller; main thread.
//
// Rows that came from one batch one after the other form a run; snapshots for other threads are
// copies of the runs, which share the batches.
#pragma once

#include "core/log/VDXLog.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <unordered_set>
#include <vector>

namespace brindle {

/// The low 32 bits of a row's place: unique among the rows that are there, given again later.
using RowSlot = std::uint32_t;
/// The same for as long as the row is there, and of no other row before or after.
enum class LogId : std::int64_t {};
enum class AnswerId : std::uint64_t { none = 0 };

/// Rows `firstRow` to `firstRow + count` of a batch, at places `firstPlace` onwards.
struct RowRun {
    std::shared_ptr<const RecordBatch> batch; ///< null for one empty record
    std::uint32_t firstRow = 0;
    std::uint32_t count = 0;
    std::int64_t firstPlace = 0;
    std::int64_t firstId = 0;
    AnswerId answer = AnswerId::none;
};

class LogRows {
  public:
    std::size_t size() const { return size_; }
    bool empty() const { return size_ == 0; }

    void pushBack(VDXLog log, AnswerId answer);
    void pushBack(std::shared_ptr<const RecordBatch> batch, AnswerId answer, LogTables& tables);
    void pushFront(VDXLog log);
    /// There is a row.
    void popBack();
    /// Other rows keep their places and slots; what is left between them counts nowhere.
    void removeAnswer(AnswerId answer);
    void clear();

    /// Places grow in insertion order; rows stand at places from beginPlace() to before endPlace().
    std::int64_t beginPlace() const { return begin_; }
    std::int64_t endPlace() const { return begin_ + static_cast<std::int64_t>(logs_.size()); }
    std::int64_t placeOf(RowSlot slot) const { return begin_ + order(slot); }
    static RowSlot slotAt(std::int64_t place) { return static_cast<RowSlot>(place); }
    /// How far from beginPlace(): compares slots in insertion order, indexes tables of all places.
    std::uint32_t order(RowSlot slot) const { return slot - static_cast<RowSlot>(begin_); }

    const VDXLog& at(RowSlot slot) const { return logs_[order(slot)]; }
    VDXLog& at(RowSlot slot) { return logs_[order(slot)]; }
    LogId idOf(RowSlot slot) const;
    std::optional<RowSlot> find(LogId id) const;
    /// Appends the slots of the rows at places from `from` to before `to`, in order.
    void appendSlots(std::int64_t from, std::int64_t to, std::vector<RowSlot>& found) const;
    std::size_t countBetween(std::int64_t from, std::int64_t to) const;
    /// The place behind the last row, were the last `rows` rows not there.
    std::int64_t endWithout(std::size_t rows) const;

    const std::deque<RowRun>& runs() const { return runs_; }
    /// Rows whose texts are not, or not all, those of their batch.
    const std::unordered_set<RowSlot>& ownTextSlots() const { return ownTexts_; }
    /// The row's own texts may have changed.
    void noteTexts(RowSlot slot);

    std::size_t memoryBytes() const;

  private:
    const RowRun* runAt(std::int64_t place) const;
    void trim();

    std::deque<VDXLog> logs_; ///< empty records where rows of an answer were withdrawn
    std::deque<RowRun> runs_; ///< by place
    std::unordered_set<RowSlot> ownTexts_;
    std::size_t size_ = 0;
    std::int64_t begin_ = 0;
    std::int64_t nextFrontId_ = -1;
    std::int64_t nextBackId_ = 0;
};

} // namespace brindle
