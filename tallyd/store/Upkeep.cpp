// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/store/Upkeep.h"

#include <algorithm>
#include <limits>

#include <spdlog/spdlog.h>

namespace brindle::tallyd {

namespace {

constexpr std::int64_t kAll = std::numeric_limits<std::int64_t>::max();
constexpr std::uint64_t kPageBytes = 4096;
/// Room for what the write-ahead log may take at times, within the limit of the store's size.
constexpr std::uint64_t kLogReserve = 16 << 20;
/// The fewest records that a purge is tried with where there is little room to work in.
constexpr std::size_t kFewestPurged = 64;
constexpr std::chrono::seconds kPauseAfterFailure{1};
/// A batch may wait for one step. One that takes longer than this is told of.
constexpr std::chrono::milliseconds kLongStep{100};

constexpr std::array<const char*, 4> kStepNames{"delete old records", "move the write-ahead log",
                                                "give space back", "roll a day up"};

std::int64_t nowMicros() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::microseconds>(now).count();
}

} // namespace

Upkeep::Upkeep(StoreWriter& writer, const IntakeLimits& limits)
    : writer_(writer), limits_(limits), purgeRecords_(limits.purgeRecords) {
    measure();
}

void Upkeep::measure() {
    if (auto space = writer_.space())
        space_ = *space;
}

/// What the files would take without what is empty in them. A log that is short now may get long.
std::uint64_t Upkeep::usedBytes() const {
    const std::uint64_t limit = limits_.retention.bytes.value_or(0);
    const std::uint64_t reserve = std::max(space_.log, std::min(kLogReserve, limit / 4));
    return space_.main - std::min(space_.empty, space_.main) + reserve;
}

bool Upkeep::tooLarge() const {
    return limits_.retention.bytes && !nothingToPurge_ && usedBytes() > *limits_.retention.bytes;
}

bool Upkeep::ageDue() const {
    return limits_.retention.age && Clock::now() >= nextAge_;
}

/// Empty pages worth keeping: they are soon filled again. But not beyond the limit of the size, nor
/// more than a quarter of the file.
std::size_t Upkeep::keptPages() const {
    std::uint64_t kept = space_.main / 4;
    if (const auto limit = limits_.retention.bytes; limit && space_.main + space_.log > *limit) {
        const std::uint64_t excess = space_.main + space_.log - *limit;
        kept = std::min(kept, space_.empty - std::min(space_.empty, excess));
    }
    return kept / kPageBytes;
}

bool Upkeep::shrinkDue() const {
    return space_.empty / kPageBytes > keptPages();
}

std::optional<Upkeep::Step> Upkeep::nextStep() const {
    if (checkpointWanted_ || writer_.checkpointDue())
        return Step::checkpoint;
    if (tooLarge() || ageDue())
        return Step::purge;
    if (shrinkDue())
        return Step::shrink;
    if (limits_.rollUpEvery.count() > 0 && Clock::now() >= nextRollUp_)
        return Step::rollUp;
    return std::nullopt;
}

bool Upkeep::due() const {
    return Clock::now() >= notBefore_ && nextStep().has_value();
}

bool Upkeep::urgent() const {
    constexpr std::uint64_t kTolerated = 50; // a 50th of the limit
    return tooLarge() && Clock::now() >= notBefore_ &&
           usedBytes() > *limits_.retention.bytes + *limits_.retention.bytes / kTolerated;
}

std::optional<Upkeep::Clock::time_point> Upkeep::next() const {
    std::optional<Clock::time_point> next;
    const auto consider = [&](bool wanted, Clock::time_point time) {
        time = std::max(time, notBefore_);
        if (wanted && (!next || time < *next))
            next = time;
    };
    consider(checkpointWanted_ || writer_.checkpointDue() || tooLarge() || shrinkDue(), notBefore_);
    consider(limits_.retention.age.has_value(), nextAge_);
    consider(limits_.rollUpEvery.count() > 0, nextRollUp_);
    return next;
}

void Upkeep::step() {
    const auto step = nextStep();
    if (!step)
        return;
    switch (*step) {
    case Step::checkpoint:
        checkpoint();
        break;
    case Step::purge:
        retain();
        break;
    case Step::shrink:
        shrink();
        break;
    case Step::rollUp:
        rollUp();
        break;
    }
    measure();
}

template <typename Work>
auto Upkeep::timed(Step step, Work&& work) {
    const auto began = Clock::now();
    auto result = work();
    const auto took = Clock::now() - began;
    auto& longest = longest_[static_cast<std::size_t>(step)];
    // Each line tells of a longer one: on a slow disk they are few.
    if (took > kLongStep && took > longest + longest / 4)
        spdlog::info("store: to {} took {} ms", kStepNames[static_cast<std::size_t>(step)],
                     std::chrono::duration_cast<std::chrono::milliseconds>(took).count());
    longest = std::max(longest, took);
    report(step, result ? std::string() : result.error());
    return result;
}

void Upkeep::report(Step step, const std::string& error) {
    if (!error.empty()) {
        checkpointWanted_ = step != Step::checkpoint;
        notBefore_ = Clock::now() + kPauseAfterFailure;
    }
    auto& told = errors_[static_cast<std::size_t>(step)];
    if (!error.empty() && error != told)
        spdlog::warn("store: cannot {}: {}", kStepNames[static_cast<std::size_t>(step)], error);
    told = error;
}

tl::expected<Upkeep::Purged, std::string> Upkeep::purge(std::int64_t beforeMicros) {
    for (;;) {
        const auto deleted =
            timed(Step::purge, [&] { return writer_.purgeBefore(beforeMicros, purgeRecords_); });
        if (deleted) {
            const bool all = *deleted < purgeRecords_;
            purgeRecords_ = std::min(purgeRecords_ * 2, limits_.purgeRecords);
            measure();
            if (all && *deleted > 0)
                checkpointWanted_ = true; // and they are gone from the disk too
            return Purged{.records = *deleted, .all = all};
        }
        // On a full disk the log has no room beyond what it has: a smaller step may fit in there
        // once what is in it was moved.
        if (purgeRecords_ <= kFewestPurged)
            return tl::unexpected(deleted.error());
        purgeRecords_ = std::max(purgeRecords_ / 8, kFewestPurged);
        checkpoint();
    }
}

void Upkeep::retain() {
    const bool bySize = tooLarge();
    const auto age = std::chrono::duration_cast<std::chrono::microseconds>(
        limits_.retention.age.value_or(std::chrono::seconds(0)));
    const auto purged = purge(bySize ? kAll : nowMicros() - age.count());
    if (!purged)
        return;
    if (bySize)
        nothingToPurge_ = purged->records == 0;
    else if (purged->all)
        nextAge_ = Clock::now() + limits_.retainEvery;
}

void Upkeep::checkpoint() {
    checkpointWanted_ = false;
    timed(Step::checkpoint, [&] { return writer_.checkpointStep(); });
}

void Upkeep::shrink() {
    const auto given =
        timed(Step::shrink, [&] { return writer_.shrink(limits_.shrinkPages, keptPages()); });
    measure();
    if (given && !shrinkDue())
        checkpointWanted_ = true; // that makes the file as short as it may be
}

void Upkeep::rollUp() {
    const auto more =
        timed(Step::rollUp, [&] { return writer_.rollUpDay(nowMicros(), limits_.rollUpEntries); });
    if (!more.value_or(false))
        nextRollUp_ = Clock::now() + limits_.rollUpEvery;
}

void Upkeep::afterBatch(bool stored) {
    if (stored)
        nothingToPurge_ = false;
    else
        checkpointWanted_ = true;
    measure();
}

} // namespace brindle::tallyd
