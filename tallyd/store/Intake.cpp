// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/store/Intake.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include <pthread.h>
#include <spdlog/spdlog.h>

namespace brindle::tallyd {

namespace {

SourcePositions readPositions(StoreWriter& writer) {
    auto positions = writer.positions();
    if (!positions)
        spdlog::error("store: {}; sources begin anew", positions.error());
    return std::move(positions).value_or(SourcePositions());
}

} // namespace

Intake::Intake(std::unique_ptr<StoreWriter> writer, IntakeLimits limits, CommitListener listener)
    : writer_(std::move(writer)), limits_(limits), listener_(std::move(listener)),
      positions_(readPositions(*writer_)), upkeep_(*writer_, limits_), thread_([this] { run(); }) {}

Intake::~Intake() {
    if (const auto drained = drain(); !drained)
        spdlog::error("store: {}", drained.error());
}

SourceId Intake::addSource(const std::string& name) {
    const std::lock_guard lock(mutex_);
    sources_.emplace_back().status.name = name;
    return static_cast<SourceId>(sources_.size() - 1);
}

std::string Intake::storedPosition(SourceId source) {
    const std::lock_guard lock(mutex_);
    const auto found = positions_.find(sources_.at(source).status.name);
    return found == positions_.end() ? std::string() : found->second;
}

void Intake::setState(SourceId source, const std::string& state) {
    const std::lock_guard lock(mutex_);
    sources_.at(source).status.state = state;
}

void Intake::countLost(SourceId source, std::string_view reason, std::uint64_t count) {
    if (count == 0)
        return;
    const std::lock_guard lock(mutex_);
    auto& status = sources_.at(source).status;
    status.received += count;
    status.lost[std::string(reason)] += count;
}

void Intake::add(SourceId source, std::vector<PacketRecord> records, WhenFull whenFull,
                 std::string position) {
    if (records.empty() && position.empty())
        return;
    Lock lock(mutex_);
    Account& account = sources_.at(source);
    const auto lose = [&](const char* reason, std::size_t count) {
        account.status.received += count;
        account.status.lost[reason] += count;
    };
    if (whenFull == WhenFull::wait) {
        // Records that alone are more than the queue holds go in when it is empty.
        room_.wait(lock, [&] {
            return stopping_ || queued_ == 0 || queued_ + records.size() <= limits_.queueRecords;
        });
    } else if (!stopping_) {
        const std::size_t room = limits_.queueRecords - std::min(queued_, limits_.queueRecords);
        if (records.size() > room) {
            lose("queue full", records.size() - room);
            records.resize(room);
        }
    }
    if (stopping_)
        return lose("stopped", records.size());
    if (records.empty() && position.empty())
        return;
    const bool wasEmpty = queue_.empty();
    const bool wasFull = queued_ >= fullBatch();
    queued_ += records.size();
    account.status.received += records.size();
    account.underWay += records.size();
    queue_.push_back({source, Clock::now(), std::move(records), std::move(position)});
    if (wasEmpty || (!wasFull && queued_ >= fullBatch()))
        work_.notify_one();
}

void Intake::run() {
#ifdef __linux__
    ::pthread_setname_np(::pthread_self(), "intake");
#endif
    Lock lock(mutex_);
    bool afterBatch = false; // upkeep gets on even when every moment a batch is due
    for (;;) {
        const bool upkeepWaits = !stopping_ && (!purges_.empty() || upkeep_.due());
        if (batchDue() && !(upkeepWaits && (afterBatch || upkeep_.urgent()))) {
            storeBatch(lock);
            afterBatch = true;
            continue;
        }
        afterBatch = false;
        if (stopping_)
            break;
        if (upkeep_.urgent())
            upkeepStep(lock);
        else if (!purges_.empty())
            purgeStep(lock);
        else if (upkeep_.due())
            upkeepStep(lock);
        else
            rest(lock);
    }
    for (const auto& purge : purges_) {
        purge->done = true;
        purge->error = "the daemon is stopping";
    }
    purges_.clear();
    purged_.notify_all();
}

/// Until a batch is due, something else is to be done, or somebody has work.
void Intake::rest(Lock& lock) {
    auto until = upkeep_.next();
    if (!queue_.empty()) {
        const auto batch = queue_.front().arrived + limits_.batchAge;
        until = until ? std::min(*until, batch) : batch;
    }
    if (until)
        work_.wait_until(lock, *until);
    else
        work_.wait(lock);
}

std::size_t Intake::fullBatch() const {
    return std::min(limits_.batchRecords, limits_.queueRecords);
}

bool Intake::batchDue() const {
    return !queue_.empty() && (stopping_ || queued_ >= fullBatch() ||
                               Clock::now() >= queue_.front().arrived + limits_.batchAge);
}

void Intake::storeBatch(Lock& lock) {
    std::vector<std::vector<PacketRecord>> chunks;
    std::vector<std::pair<SourceId, std::size_t>> counts;
    SourcePositions positions;
    std::size_t records = 0;
    while (!queue_.empty() && records < limits_.batchRecords) {
        Chunk& chunk = queue_.front();
        if (!chunk.position.empty())
            positions[sources_.at(chunk.source).status.name] = std::move(chunk.position);
        records += chunk.records.size();
        counts.emplace_back(chunk.source, chunk.records.size());
        chunks.push_back(std::move(chunk.records));
        queue_.pop_front();
    }
    queued_ -= records;
    room_.notify_all();
    lock.unlock();

    const auto first = writer_->append(chunks, positions);
    reportStore(first ? std::string() : first.error(), records);
    upkeep_.afterBatch(first.has_value());

    // The account comes before the listener: who sees a live record finds it in the figures.
    lock.lock();
    for (const auto& [source, count] : counts) {
        Account& account = sources_.at(source);
        account.underWay -= count;
        if (first)
            account.status.stored += count;
        else
            account.status.lost["store"] += count;
    }
    lock.unlock();

    if (first && records > 0 && listener_) {
        auto stored = std::make_shared<std::vector<StoredRecord>>();
        stored->reserve(records);
        std::uint64_t sequence = *first;
        for (auto& chunk : chunks)
            for (PacketRecord& record : chunk)
                stored->push_back({sequence++, std::move(record)});
        listener_(std::move(stored));
    }
    chunks.clear();
    lock.lock();
}

void Intake::reportStore(const std::string& error, std::size_t records) {
    if (!error.empty())
        storeLost_ += records;
    if (error == storeError_)
        return;
    if (!error.empty())
        spdlog::error("store: {}; records are being lost", error);
    else
        spdlog::warn("store: writing again, {} records were lost", std::exchange(storeLost_, 0));
    storeError_ = error;
}

tl::expected<std::uint64_t, std::string> Intake::purgeBefore(std::int64_t beforeMicros) {
    auto purge = std::make_shared<Purge>();
    purge->beforeMicros = beforeMicros;
    Lock lock(mutex_);
    if (stopping_)
        return tl::unexpected(std::string("the daemon is stopping"));
    purges_.push_back(purge);
    work_.notify_one();
    purged_.wait(lock, [&] { return purge->done; });
    if (!purge->error.empty())
        return tl::unexpected(purge->error);
    return purge->deleted;
}

void Intake::purgeStep(Lock& lock) {
    const std::shared_ptr<Purge> purge = purges_.front();
    lock.unlock();
    const auto purged = upkeep_.purge(purge->beforeMicros);
    lock.lock();
    if (purged)
        purge->deleted += purged->records;
    if (!purged || purged->all) {
        purge->done = true;
        purge->error = purged ? std::string() : purged.error();
        purges_.pop_front();
        purged_.notify_all();
    }
}

void Intake::upkeepStep(Lock& lock) {
    lock.unlock();
    upkeep_.step();
    lock.lock();
}

DaemonStatus Intake::status() const {
    const std::lock_guard lock(mutex_);
    DaemonStatus status;
    for (const Account& account : sources_) {
        SourceStatus source = account.status;
        source.received -= account.underWay;
        status.received += source.received;
        status.stored += source.stored;
        for (const auto& [reason, count] : source.lost)
            status.lost[reason] += count;
        status.sources.push_back(std::move(source));
    }
    return status;
}

tl::expected<void, std::string> Intake::drain() {
    {
        const std::lock_guard lock(mutex_);
        if (stopping_ && !thread_.joinable())
            return {};
        stopping_ = true;
        work_.notify_one();
        room_.notify_all();
    }
    thread_.join();
    return writer_->checkpoint();
}

} // namespace brindle::tallyd
