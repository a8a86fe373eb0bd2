// SPDX-License-Identifier: BSD-2-Clause
#include "app/logs/table/LogRows.h"

#include <algorithm>
#include <iterator>

namespace brindle {
namespace {

std::int64_t endOf(const RowRun& run) {
    return run.firstPlace + run.count;
}

} // namespace

void LogRows::pushBack(VDXLog log, AnswerId answer) {
    const auto row = static_cast<std::uint32_t>(log.batchRow());
    RowRun* last = runs_.empty() ? nullptr : &runs_.back();
    // endPlace() counts no withdrawn rows at the end: those are trimmed.
    if (last && log.batch() && last->batch == log.batch() && last->answer == answer &&
        last->firstRow + last->count == row && last->firstId + last->count == nextBackId_)
        ++last->count;
    else
        runs_.push_back({log.batch(), row, 1, endPlace(), nextBackId_, answer});
    const bool own = log.hasOwnTexts();
    if (own)
        ownTexts_.insert(slotAt(endPlace()));
    logs_.push_back(std::move(log));
    ++nextBackId_;
    ++size_;
}

void LogRows::pushBack(std::shared_ptr<const RecordBatch> batch, AnswerId answer,
                       LogTables& tables) {
    const std::size_t count = batch->size();
    if (count == 0)
        return;
    runs_.push_back({batch, 0, static_cast<std::uint32_t>(count), endPlace(), nextBackId_, answer});
    for (std::size_t row = 0; row < count; ++row)
        logs_.emplace_back(batch, row, tables);
    nextBackId_ += static_cast<std::int64_t>(count);
    size_ += count;
}

void LogRows::pushFront(VDXLog log) {
    --begin_;
    runs_.push_front({log.batch(), static_cast<std::uint32_t>(log.batchRow()), 1, begin_,
                      nextFrontId_, AnswerId::none});
    if (log.hasOwnTexts())
        ownTexts_.insert(slotAt(begin_));
    logs_.push_front(std::move(log));
    --nextFrontId_;
    ++size_;
}

void LogRows::popBack() {
    ownTexts_.erase(slotAt(endPlace() - 1));
    logs_.pop_back();
    --size_;
    if (--runs_.back().count == 0)
        runs_.pop_back();
    trim();
}

void LogRows::removeAnswer(AnswerId answer) {
    for (const RowRun& run : runs_) {
        if (run.answer != answer)
            continue;
        for (std::int64_t place = run.firstPlace; place < endOf(run); ++place) {
            ownTexts_.erase(slotAt(place));
            at(slotAt(place)) = VDXLog();
        }
        size_ -= run.count;
    }
    std::erase_if(runs_, [answer](const RowRun& run) { return run.answer == answer; });
    trim();
}

void LogRows::clear() {
    logs_.clear();
    runs_.clear();
    ownTexts_.clear();
    size_ = 0;
}

void LogRows::trim() {
    while (!logs_.empty() && (runs_.empty() || endOf(runs_.back()) < endPlace()))
        logs_.pop_back();
    while (!logs_.empty() && runs_.front().firstPlace > begin_) {
        logs_.pop_front();
        ++begin_;
    }
}

const RowRun* LogRows::runAt(std::int64_t place) const {
    auto run = std::ranges::upper_bound(runs_, place, {}, &RowRun::firstPlace);
    if (run == runs_.begin())
        return nullptr;
    --run;
    return place < endOf(*run) ? &*run : nullptr;
}

LogId LogRows::idOf(RowSlot slot) const {
    const std::int64_t place = placeOf(slot);
    const RowRun* run = runAt(place);
    return static_cast<LogId>(run->firstId + (place - run->firstPlace));
}

std::optional<RowSlot> LogRows::find(LogId id) const {
    const auto number = static_cast<std::int64_t>(id);
    auto run = std::ranges::upper_bound(runs_, number, {}, &RowRun::firstId);
    if (run == runs_.begin())
        return std::nullopt;
    --run;
    const std::int64_t offset = number - run->firstId;
    return offset < run->count ? std::optional(slotAt(run->firstPlace + offset)) : std::nullopt;
}

void LogRows::appendSlots(std::int64_t from, std::int64_t to, std::vector<RowSlot>& found) const {
    auto run = std::ranges::upper_bound(runs_, from, {}, &RowRun::firstPlace);
    if (run != runs_.begin())
        --run;
    for (; run != runs_.end() && run->firstPlace < to; ++run) {
        const std::int64_t end = std::min(to, endOf(*run));
        for (std::int64_t place = std::max(from, run->firstPlace); place < end; ++place)
            found.push_back(slotAt(place));
    }
}

std::size_t LogRows::countBetween(std::int64_t from, std::int64_t to) const {
    std::int64_t count = 0;
    auto run = std::ranges::upper_bound(runs_, from, {}, &RowRun::firstPlace);
    if (run != runs_.begin())
        --run;
    for (; run != runs_.end() && run->firstPlace < to; ++run)
        count +=
            std::max<std::int64_t>(0, std::min(to, endOf(*run)) - std::max(from, run->firstPlace));
    return static_cast<std::size_t>(count);
}

std::int64_t LogRows::endWithout(std::size_t rows) const {
    auto left = static_cast<std::int64_t>(rows);
    for (auto run = runs_.rbegin(); run != runs_.rend(); ++run) {
        if (left == 0)
            return endOf(*run);
        if (left < run->count)
            return endOf(*run) - left;
        left -= run->count;
    }
    return begin_;
}

void LogRows::noteTexts(RowSlot slot) {
    if (at(slot).hasOwnTexts())
        ownTexts_.insert(slot);
    else
        ownTexts_.erase(slot);
}

std::size_t LogRows::memoryBytes() const {
    std::size_t bytes = logs_.size() * sizeof(VDXLog) + runs_.size() * sizeof(RowRun);
    // Rows of one batch stand together, but for live rows, which have a batch each.
    const RecordBatch* last = nullptr;
    for (const RowRun& run : runs_) {
        if (run.batch && run.batch.get() != last)
            bytes += run.batch->memoryBytes();
        last = run.batch.get();
    }
    return bytes;
}

} // namespace brindle
