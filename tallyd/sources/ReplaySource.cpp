// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/sources/ReplaySource.h"

#include "core/log/records/RecordText.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <string_view>

#include <fmt/format.h>

namespace brindle::tallyd {

namespace {

using namespace std::chrono_literals;

constexpr std::size_t kBlock = 4096;
/// Records that fall due within this time are sent together.
constexpr auto kBatchTime = 20ms;
/// A recording of a few packets in a loop is not a reason to flood the store.
constexpr auto kShortestRound = 1s;
/// Longer gaps are none that anyone waits for; the clocks can hold this.
constexpr double kLongestDelayMicros = 1e15;

std::int64_t wallMicros() {
    return std::chrono::duration_cast<std::chrono::microseconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

} // namespace

tl::expected<ReplayPlan, std::string> ReplayPlan::parse(const std::string& text) {
    ReplayPlan plan;
    plan.path = text;
    const std::size_t at = text.rfind('@');
    if (at != text.npos && text.find('/', at) == text.npos) {
        plan.path = text.substr(0, at);
        std::string_view speed = std::string_view(text).substr(at + 1);
        constexpr std::string_view kLoop = ",loop";
        if (speed.ends_with(kLoop)) {
            plan.repeat = Repeat::loop;
            speed.remove_suffix(kLoop.size());
        }
        if (speed == "max") {
            plan.speed.reset();
        } else {
            const std::optional<double> factor = epochFromText(speed);
            if (!factor || !(*factor > 0) || !std::isfinite(*factor))
                return tl::unexpected(
                    fmt::format("the speed \"{}\" is neither a positive number nor max", speed));
            plan.speed = factor;
        }
    }
    if (plan.path.empty())
        return tl::unexpected(std::string("no file is named"));
    if (plan.path == "-")
        return tl::unexpected(std::string("standard input cannot be replayed"));
    return plan;
}

tl::expected<std::unique_ptr<ReplaySource>, std::string>
ReplaySource::open(std::string name, ReplayPlan plan, ActionPatterns patterns) {
    auto input = openInput(plan.path, patterns);
    if (!input)
        return tl::unexpected(input.error());
    return std::unique_ptr<ReplaySource>(
        new ReplaySource(std::move(name), std::move(plan), std::move(patterns), std::move(*input)));
}

ReplaySource::ReplaySource(std::string name, ReplayPlan plan, ActionPatterns patterns,
                           std::unique_ptr<InputFile> input)
    : name_(std::move(name)), plan_(std::move(plan)), patterns_(std::move(patterns)),
      input_(std::move(input)) {}

ReplaySource::~ReplaySource() {
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_all();
    if (thread_.joinable())
        thread_.join();
}

void ReplaySource::start(RecordSink& sink) {
    sink_ = &sink;
    id_ = sink.addSource(name_);
    thread_ = std::thread([this] { run(); });
}

void ReplaySource::run() {
    sink_->setState(id_, "running");
    for (;;) {
        playOnce();
        if (isStopping())
            return;
        const bool playedSome = firstMicros_.has_value();
        if (plan_.repeat == ReplayPlan::Repeat::once || !playedSome) {
            sink_->setState(id_, input_->problem().empty() ? "ended" : input_->problem());
            return;
        }
        if (plan_.speed && !waitUntil(roundStart_ + kShortestRound))
            return;
        auto again = openInput(plan_.path, patterns_);
        if (!again) {
            sink_->setState(id_, again.error());
            return;
        }
        input_ = std::move(*again);
        firstMicros_.reset();
        skippedTold_.clear();
    }
}

void ReplaySource::playOnce() {
    bool more = true;
    while (more && !isStopping()) {
        std::vector<PacketRecord> records;
        more = input_->read(records, kBlock);
        countSkipped();
        playBlock(records);
    }
}

void ReplaySource::playBlock(std::vector<PacketRecord>& records) {
    if (records.empty())
        return;
    if (!firstMicros_) {
        firstMicros_ = records.front().timeMicros;
        roundStart_ = Clock::now();
    }
    auto next = records.begin();
    Clock::time_point wake = dueTime(*next);
    while (waitUntil(wake)) {
        const Clock::time_point now = Clock::now();
        auto end = next + 1;
        while (end != records.end() && dueTime(*end) <= now)
            ++end;
        std::vector<PacketRecord> due(std::make_move_iterator(next), std::make_move_iterator(end));
        const std::int64_t micros = wallMicros();
        for (PacketRecord& record : due)
            record.timeMicros = micros;
        sink_->add(id_, std::move(due), RecordSink::WhenFull::wait);
        next = end;
        if (next == records.end())
            return;
        // What fell due while the sink was busy goes at once; the rest is collected for a while.
        wake = dueTime(*next);
        if (wake > Clock::now())
            wake = std::max(wake, now + kBatchTime);
    }
}

ReplaySource::Clock::time_point ReplaySource::dueTime(const PacketRecord& record) const {
    if (!plan_.speed)
        return roundStart_;
    const double gap =
        (static_cast<double>(record.timeMicros) - static_cast<double>(*firstMicros_)) /
        *plan_.speed;
    const std::chrono::duration<double, std::micro> delay(
        std::clamp(gap, 0.0, kLongestDelayMicros));
    return roundStart_ + std::chrono::duration_cast<Clock::duration>(delay);
}

void ReplaySource::countSkipped() {
    for (const auto& [reason, count] : input_->skipped()) {
        std::uint64_t& told = skippedTold_[reason];
        if (count > told)
            sink_->countLost(id_, reason, count - told);
        told = count;
    }
}

bool ReplaySource::waitUntil(Clock::time_point time) {
    std::unique_lock lock(mutex_);
    return !wake_.wait_until(lock, time, [this] { return stopping_; });
}

bool ReplaySource::isStopping() {
    const std::lock_guard lock(mutex_);
    return stopping_;
}

} // namespace brindle::tallyd
