// SPDX-License-Identifier: BSD-2-Clause
//
// The rows of the logs table and their arrangement: `logs` in insertion order, and over it the
// arranged rows, that is those which pass the filter, in the order of the sort. Owned by the logs
// window, used on the main thread. Changes reach the observer once per turn of the main queue. Much
// work (sorting or filtering many rows) is done on the worker queue from a snapshot and shown when
// done; until then the rows stand as they were.
//
//     LogsArrayController controller(queues.main, queues.global, tables);
//     auto answer = controller.beginAnswer();
//     controller.append(answer, batch);      // for each batch
//     controller.endAnswer(answer);          // or withdrawAnswer when it broke off
#pragma once

#include "app/logs/table/ArrangedRows.h"
#include "app/logs/table/FilterExpression.h"
#include "app/logs/table/LogColumn.h"
#include "app/logs/table/LogRows.h"
#include "app/logs/table/SortOrder.h"
#include "core/log/VDXLog.h"
#include "platform/queue/DispatchQueue.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace brindle {

struct ArrangementInput;

class LogsArrayController {
  public:
    /// `worker` runs tasks off the main thread. `tables` outlives the controller.
    LogsArrayController(std::shared_ptr<platform::DispatchQueue> main,
                        std::shared_ptr<platform::DispatchQueue> worker, LogTables& tables);
    ~LogsArrayController();
    LogsArrayController(const LogsArrayController&) = delete;
    LogsArrayController& operator=(const LogsArrayController&) = delete;

    /// One observer, or null. It is told of later changes only.
    void setObserver(ArrangementObserver* observer) { arranged_.setObserver(observer); }

    // The content.

    /// Rows in `logs`, arranged or not.
    std::size_t count() const { return rows_.size() - leaving_; }
    /// Removes every row at once. Filter and sort stay; answers under way go on adding.
    void clear();
    /// The rows of an answer may be withdrawn until it ends.
    AnswerId beginAnswer();
    void endAnswer(AnswerId answer);
    /// Takes the rows of an answer that broke off out again.
    void withdrawAnswer(AnswerId answer);
    /// Adds every row of a batch at the end of `logs`. While answers are under way rows are shown
    /// in growing portions, the first at once, the last with the end of an answer.
    void append(AnswerId answer, std::shared_ptr<const RecordBatch> batch);
    /// Adds one row at the end of `logs`.
    void append(AnswerId answer, VDXLog log);
    void insertAtFront(VDXLog log);
    /// Removes the row at the end of `logs`; nothing when there is none.
    void removeLast();

    // One row, by an identity that stays while the row is there and is never given twice.

    /// `position` counts arranged rows.
    LogId idAt(std::size_t position) const { return rows_.idOf(arranged_[position]); }
    /// Null once the row is gone; until then the address stays. Call rowChanged after a change.
    VDXLog* find(LogId id);
    void rowChanged(LogId id);

    // The arrangement.

    std::size_t arrangedCount() const { return arranged_.size(); }
    const VDXLog& arrangedLog(std::size_t position) const { return rows_.at(arranged_[position]); }

    /// None: insertion order. Ties keep insertion order in both directions.
    void setSort(std::optional<SortOrder> sort);
    std::optional<SortOrder> sort() const { return sort_; }
    /// Null: every row passes.
    void setFilter(std::shared_ptr<const FilterExpression> filter);
    const std::shared_ptr<const FilterExpression>& filter() const { return filter_; }
    /// A snapshot is being arranged on the worker queue.
    bool isArranging() const { return job_ != nullptr; }

    /// Shows what this turn brought without waiting for its end; portions of answers under way and
    /// work on the worker queue are not hurried.
    void flush();
    /// Bytes held for the rows, their batches included, counted from the containers' capacities.
    std::size_t memoryBytes() const;

  private:
    struct Job;

    bool filtering() const { return filter_ && !filter_->empty(); }
    void scheduleFlush();
    bool backIsDue() const;
    void applyChanges(std::int64_t end);
    std::vector<ArrangedRows::Insertion> sortedInsertions(const std::vector<RowSlot>& added) const;
    void tellChangedRows();
    void tellCounts();

    void rearrange();
    ArrangementInput snapshot();
    void finishJob(std::vector<RowSlot> next);
    void abandonJob();
    void install(std::vector<RowSlot> next, const Job& job);

    void popBack();
    void removeLeavingNow();
    void holdBounds();
    void noteUser(std::uint32_t uid);
    const UserNames& users();
    const FilterNames& names();

    const std::shared_ptr<platform::DispatchQueue> main_;
    const std::shared_ptr<platform::DispatchQueue> worker_;
    LogTables& tables_;

    LogRows rows_;
    std::size_t leaving_ = 0; ///< rows at the end that were removed but may still be arranged
    ArrangedRows arranged_;
    /// Rows at these places have been tried for the arrangement; those around them wait.
    std::int64_t arrangedBegin_ = 0;
    std::int64_t arrangedEnd_ = 0;
    std::optional<SortOrder> sort_;
    std::shared_ptr<const FilterExpression> filter_;
    std::unordered_set<RowSlot> changed_; ///< rows whose texts changed in this turn
    bool misplaced_ = false;              ///< some of them are sorted or filtered by those texts

    std::unordered_set<AnswerId> answers_;
    std::uint64_t lastAnswer_ = 0;
    bool answerEnded_ = false; ///< what waits is shown with the next flush

    FilterNames names_;                                    ///< made when first needed
    std::unordered_map<std::uint32_t, std::string> users_; ///< of every uid seen
    std::uint32_t lastUid_ = 0;

    std::shared_ptr<Job> job_;
    bool flushScheduled_ = false;
    /// Tasks on the main queue do nothing once it is gone.
    std::shared_ptr<LogsArrayController*> self_;
};

} // namespace brindle
