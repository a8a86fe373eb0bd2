// SPDX-License-Identifier: BSD-2-Clause
#include "app/logs/table/LogsArrayController.h"

#include "app/logs/table/Arrangement.h"

#include <algorithm>
#include <atomic>
#include <span>
#include <utility>

namespace brindle {
namespace {

/// More new rows than this are not put one by one into a sorted or filtered arrangement.
constexpr std::size_t kOneByOne = 2048;
/// Up to so many rows are arranged at once, on the main thread, within a few milliseconds.
constexpr std::size_t kAtOnce = 8192;
constexpr std::size_t kPorts = 65536;

} // namespace

struct LogsArrayController::Job {
    std::atomic<bool> abandoned{false}; ///< set on the main thread, read by the worker
    // Main thread.
    std::int64_t beginPlace = 0;
    std::int64_t snapshotEnd = 0; ///< of the places that the snapshot covers
    std::int64_t endPlace = 0;    ///< less what has been removed at the end since
};

LogsArrayController::LogsArrayController(std::shared_ptr<platform::DispatchQueue> main,
                                         std::shared_ptr<platform::DispatchQueue> worker,
                                         LogTables& tables)
    : main_(std::move(main)), worker_(std::move(worker)), tables_(tables),
      self_(std::make_shared<LogsArrayController*>(this)) {}

LogsArrayController::~LogsArrayController() {
    abandonJob();
}

// The content.

void LogsArrayController::clear() {
    abandonJob();
    rows_.clear();
    leaving_ = 0;
    changed_.clear();
    misplaced_ = false;
    answerEnded_ = false;
    arranged_.clear();
    holdBounds();
    scheduleFlush();
}

AnswerId LogsArrayController::beginAnswer() {
    const AnswerId answer{++lastAnswer_};
    answers_.insert(answer);
    return answer;
}

void LogsArrayController::endAnswer(AnswerId answer) {
    if (answers_.erase(answer) == 0)
        return;
    answerEnded_ = true;
    scheduleFlush();
}

void LogsArrayController::withdrawAnswer(AnswerId answer) {
    if (answers_.erase(answer) == 0)
        return;
    removeLeavingNow();
    const bool arranging = job_ != nullptr;
    abandonJob();
    std::vector<bool> going(static_cast<std::size_t>(rows_.endPlace() - rows_.beginPlace()));
    for (const RowRun& run : rows_.runs())
        if (run.answer == answer)
            std::fill_n(going.begin() + (run.firstPlace - rows_.beginPlace()), run.count, true);
    arranged_.removeWhere([&](RowSlot slot) { return going[rows_.order(slot)]; }, rows_);
    std::erase_if(changed_, [&](RowSlot slot) { return going[rows_.order(slot)]; });
    rows_.removeAnswer(answer);
    holdBounds();
    answerEnded_ = true;
    if (arranging)
        rearrange();
    scheduleFlush();
}

void LogsArrayController::append(AnswerId answer, std::shared_ptr<const RecordBatch> batch) {
    removeLeavingNow();
    for (const RecordRow& row : batch->rows())
        noteUser(row.uid);
    rows_.pushBack(std::move(batch), answer, tables_);
    scheduleFlush();
}

void LogsArrayController::append(AnswerId answer, VDXLog log) {
    removeLeavingNow();
    if (log.batch())
        noteUser(log.batch()->row(log.batchRow()).uid);
    rows_.pushBack(std::move(log), answer);
    scheduleFlush();
}

void LogsArrayController::insertAtFront(VDXLog log) {
    if (log.batch())
        noteUser(log.batch()->row(log.batchRow()).uid);
    rows_.pushFront(std::move(log));
    scheduleFlush();
}

void LogsArrayController::removeLast() {
    if (count() == 0)
        return;
    const std::int64_t place = rows_.endWithout(leaving_) - 1;
    const bool waits = place < arrangedBegin_ || place >= arrangedEnd_;
    if (leaving_ == 0 && waits)
        popBack();
    else
        ++leaving_;
    scheduleFlush();
}

/// Takes a row off the end that is not arranged.
void LogsArrayController::popBack() {
    changed_.erase(LogRows::slotAt(rows_.endPlace() - 1));
    rows_.popBack();
    holdBounds();
}

void LogsArrayController::removeLeavingNow() {
    if (leaving_ == 0)
        return;
    const std::int64_t end = rows_.endWithout(leaving_);
    arranged_.removeWhere([&](RowSlot slot) { return rows_.placeOf(slot) >= end; }, rows_);
    for (; leaving_ > 0; --leaving_)
        popBack();
}

/// Places beyond the rows can be given anew: nothing there counts as arranged.
void LogsArrayController::holdBounds() {
    const std::int64_t begin = rows_.beginPlace();
    const std::int64_t end = rows_.endPlace();
    arrangedBegin_ = std::clamp(arrangedBegin_, begin, end);
    arrangedEnd_ = std::clamp(arrangedEnd_, arrangedBegin_, end);
    if (job_)
        job_->endPlace = std::min(job_->endPlace, end);
}

// One row.

VDXLog* LogsArrayController::find(LogId id) {
    const std::optional<RowSlot> slot = rows_.find(id);
    if (!slot || rows_.placeOf(*slot) >= rows_.endWithout(leaving_))
        return nullptr;
    return &rows_.at(*slot);
}

void LogsArrayController::rowChanged(LogId id) {
    const std::optional<RowSlot> slot = rows_.find(id);
    if (!slot)
        return;
    rows_.noteTexts(*slot);
    changed_.insert(*slot);
    if (filtering() || (sort_ && rows_.at(*slot).ownText(describe(sort_->column).field)))
        misplaced_ = true;
    scheduleFlush();
}

void LogsArrayController::tellChangedRows() {
    const std::unordered_set<RowSlot> changed = std::exchange(changed_, {});
    if (changed.empty() || !arranged_.observer())
        return;
    if (!sort_) {
        // In insertion order: found by halving.
        for (const RowSlot slot : changed) {
            const std::size_t position = arranged_.firstFrom(rows_.placeOf(slot), rows_);
            if (position < arranged_.size() && arranged_[position] == slot)
                arranged_.observer()->rowChanged(position);
        }
        return;
    }
    for (std::size_t position = 0; position < arranged_.size(); ++position)
        if (changed.contains(arranged_[position]))
            arranged_.observer()->rowChanged(position);
}

// The arrangement.

void LogsArrayController::setSort(std::optional<SortOrder> sort) {
    if (sort == sort_)
        return;
    sort_ = sort;
    rearrange();
}

void LogsArrayController::setFilter(std::shared_ptr<const FilterExpression> filter) {
    if (filter == filter_)
        return;
    filter_ = std::move(filter);
    rearrange();
}

void LogsArrayController::scheduleFlush() {
    if (std::exchange(flushScheduled_, true))
        return;
    main_->async([weak = std::weak_ptr(self_)] {
        if (const auto self = weak.lock())
            (*self)->flush();
    });
}

/// What waits at the end is shown when it at least doubles what is there: an insertion costs a view
/// much the same whatever its size.
bool LogsArrayController::backIsDue() const {
    if (answers_.empty() || answerEnded_)
        return true;
    return rows_.countBetween(arrangedEnd_, rows_.endPlace()) >=
           rows_.countBetween(arrangedBegin_, arrangedEnd_);
}

void LogsArrayController::flush() {
    flushScheduled_ = false;
    tellChangedRows();
    if (!job_) {
        // While a snapshot is being arranged, what came after it waits for it.
        const std::int64_t end = backIsDue() ? rows_.endPlace() : arrangedEnd_;
        const std::size_t waiting = rows_.countBetween(rows_.beginPlace(), arrangedBegin_) +
                                    rows_.countBetween(arrangedEnd_, end);
        answerEnded_ = false;
        if (misplaced_ || ((sort_ || filtering()) && waiting > kOneByOne))
            rearrange();
        else
            applyChanges(end);
    }
    tellCounts();
}

void LogsArrayController::tellCounts() {
    if (arranged_.observer())
        arranged_.observer()->arrangementCountsChanged();
}

/// Takes rows that leave out of the arrangement and puts the new ones before place `end` in.
void LogsArrayController::applyChanges(std::int64_t end) {
    const std::int64_t staying = rows_.endWithout(leaving_);
    const std::int64_t frontEnd = std::min(arrangedBegin_, staying);
    std::vector<ArrangedRows::Removal> removals;
    if (leaving_ > 0) {
        const std::size_t first = sort_ ? 0 : arranged_.firstFrom(staying, rows_);
        removals = arranged_.runsWhere(
            first, [&](RowSlot slot) { return rows_.placeOf(slot) >= staying; });
    }

    std::vector<RowSlot> front;
    std::vector<RowSlot> back;
    rows_.appendSlots(rows_.beginPlace(), frontEnd, front);
    rows_.appendSlots(arrangedEnd_, std::min(end, staying), back);
    if (filtering()) {
        const auto fails = [this](RowSlot slot) { return !filter_->matches(rows_.at(slot)); };
        std::erase_if(front, fails);
        std::erase_if(back, fails);
    }
    std::vector<ArrangedRows::Insertion> insertions;
    if (sort_) {
        front.insert(front.end(), back.begin(), back.end());
        insertions = sortedInsertions(front);
    } else {
        if (!front.empty())
            insertions.push_back({0, std::move(front)});
        if (!back.empty())
            insertions.push_back({arranged_.size(), std::move(back)});
    }
    arranged_.apply(removals, insertions, rows_);

    arrangedBegin_ = rows_.beginPlace();
    arrangedEnd_ = std::max(arrangedEnd_, end);
    for (; leaving_ > 0; --leaving_)
        popBack();
}

/// Where new rows go in the sorted arrangement, found by halving.
std::vector<ArrangedRows::Insertion>
LogsArrayController::sortedInsertions(const std::vector<RowSlot>& added) const {
    struct Keyed {
        SortKey key;
        RowSlot slot;
    };
    const auto keyed = [this](RowSlot slot) {
        return Keyed{sortKey(rows_.at(slot), sort_->column), slot};
    };
    const auto before = [this](const Keyed& a, const Keyed& b) {
        const auto order = a.key <=> b.key;
        if (order != 0)
            return sort_->direction == SortDirection::ascending ? order < 0 : order > 0;
        return rows_.order(a.slot) < rows_.order(b.slot);
    };
    std::vector<Keyed> rows;
    rows.reserve(added.size());
    for (const RowSlot slot : added)
        rows.push_back(keyed(slot));
    std::ranges::sort(rows, before);

    std::vector<ArrangedRows::Insertion> insertions;
    const std::span<const RowSlot> shown = arranged_.shown();
    std::size_t from = 0;
    for (const Keyed& row : rows) {
        const auto at =
            std::partition_point(shown.begin() + static_cast<std::ptrdiff_t>(from), shown.end(),
                                 [&](RowSlot slot) { return before(keyed(slot), row); });
        from = static_cast<std::size_t>(at - shown.begin());
        if (insertions.empty() || insertions.back().position != from)
            insertions.push_back({from, {}});
        insertions.back().added.push_back(row.slot);
    }
    return insertions;
}

/// Filters and sorts all rows anew: a few at once, many on the worker queue.
void LogsArrayController::rearrange() {
    abandonJob();
    misplaced_ = false;
    auto input = std::make_shared<const ArrangementInput>(snapshot());
    auto job = std::make_shared<Job>();
    job->beginPlace = input->beginPlace;
    job->snapshotEnd = job->endPlace = input->endPlace;
    if (rows_.size() <= kAtOnce) {
        if (auto slots = arrange(*input, job->abandoned))
            install(std::move(*slots), *job);
        tellCounts();
        return;
    }
    job_ = job;
    worker_->async([input = std::move(input), job, main = main_, weak = std::weak_ptr(self_)] {
        auto slots = arrange(*input, job->abandoned);
        if (!slots)
            return;
        main->async([slots = std::move(*slots), job, weak]() mutable {
            const auto self = weak.lock();
            if (self && (*self)->job_ == job)
                (*self)->finishJob(std::move(slots));
        });
    });
    tellCounts();
}

ArrangementInput LogsArrayController::snapshot() {
    ArrangementInput input;
    input.beginPlace = rows_.beginPlace();
    input.endPlace = rows_.endPlace();
    input.runs.assign(rows_.runs().begin(), rows_.runs().end());
    input.sort = sort_;
    if (filtering())
        input.filter = filter_;
    if (input.filter)
        input.names = names();
    else if (input.sort)
        input.names.users = users();

    std::vector<RowSlot> single(rows_.ownTextSlots().begin(), rows_.ownTextSlots().end());
    for (const RowRun& run : input.runs)
        if (!run.batch)
            single.push_back(LogRows::slotAt(run.firstPlace));
    std::ranges::sort(single, {}, [this](RowSlot slot) { return rows_.order(slot); });
    single.erase(std::unique(single.begin(), single.end()), single.end());
    for (const RowSlot slot : single) {
        JudgedRow row;
        row.place = rows_.placeOf(slot);
        row.passes = !input.filter || input.filter->matches(rows_.at(slot));
        if (input.sort)
            row.key = sortKey(rows_.at(slot), input.sort->column);
        input.judged.push_back(std::move(row));
    }
    return input;
}

void LogsArrayController::finishJob(std::vector<RowSlot> next) {
    const std::shared_ptr<Job> job = std::exchange(job_, nullptr);
    install(std::move(next), *job);
    flush();
}

void LogsArrayController::abandonJob() {
    if (job_)
        job_->abandoned = true;
    job_.reset();
}

/// Shows what was made of a snapshot, less the rows that have gone since.
void LogsArrayController::install(std::vector<RowSlot> next, const Job& job) {
    const std::int64_t end = std::min(job.endPlace, rows_.endWithout(leaving_));
    if (end < job.snapshotEnd)
        std::erase_if(next, [&](RowSlot slot) {
            return slot - LogRows::slotAt(job.beginPlace) >=
                   static_cast<std::uint64_t>(end - job.beginPlace);
        });
    arranged_.install(std::move(next), rows_);
    arrangedBegin_ = job.beginPlace;
    arrangedEnd_ = job.endPlace;
    holdBounds();
    for (; leaving_ > 0; --leaving_)
        popBack();
}

// What the worker knows of the tables.

void LogsArrayController::noteUser(std::uint32_t uid) {
    if (uid == lastUid_ && !users_.empty())
        return;
    lastUid_ = uid;
    const auto [known, isNew] = users_.try_emplace(uid);
    if (!isNew)
        return;
    known->second = tables_.userForUid(uid).name;
    names_.users = nullptr;
}

const UserNames& LogsArrayController::users() {
    if (!names_.users)
        names_.users = std::make_shared<UserNames::element_type>(users_);
    return names_.users;
}

const FilterNames& LogsArrayController::names() {
    users();
    if (!names_.services && !tables_.portNames.empty()) {
        auto services = std::make_shared<std::vector<std::string>>(kPorts);
        for (std::size_t port = 0; port < kPorts; ++port)
            (*services)[port] = tables_.portNames.name(std::to_string(port));
        names_.services = std::move(services);
    }
    return names_;
}

std::size_t LogsArrayController::memoryBytes() const {
    return rows_.memoryBytes() + arranged_.memoryBytes();
}

} // namespace brindle
