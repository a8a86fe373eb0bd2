// SPDX-License-Identifier: BSD-2-Clause
//
// Plays a recording as if it happened now, so that a live log can be seen on any machine: the
// recording's own gaps, divided by a speed, each record stamped with the time it is sent. Made by
// makeSource; see Source for who owns it and its thread.
#pragma once

#include "tallyd/sources/InputFile.h"
#include "tallyd/sources/Source.h"

#include <chrono>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <tl/expected.hpp>

namespace brindle::tallyd {

/// What a replay was asked to do: "FILE[@SPEED[,loop]]". SPEED is a positive number or "max"; a
/// name that itself ends in an @ and a text without slash needs an explicit speed after it.
struct ReplayPlan {
    enum class Repeat { once, loop };

    std::string path;
    std::optional<double> speed = 1.0; ///< nothing: without pauses
    Repeat repeat = Repeat::once;

    /// Error: what is wrong with the text.
    static tl::expected<ReplayPlan, std::string> parse(const std::string& text);
};

class ReplaySource final : public Source {
  public:
    /// `patterns`: what a log prefix means. Error: why the recording cannot be opened.
    static tl::expected<std::unique_ptr<ReplaySource>, std::string>
    open(std::string name, ReplayPlan plan, ActionPatterns patterns = ActionPatterns());
    ~ReplaySource() override;

    const std::string& name() const override { return name_; }
    void start(RecordSink& sink) override;

  private:
    using Clock = std::chrono::steady_clock;

    ReplaySource(std::string name, ReplayPlan plan, ActionPatterns patterns,
                 std::unique_ptr<InputFile> input);

    void run();
    /// Plays the open input to its end or until told to stop.
    void playOnce();
    /// Sends what is due of `records`, again and again until all are sent.
    void playBlock(std::vector<PacketRecord>& records);
    Clock::time_point dueTime(const PacketRecord& record) const;
    void countSkipped();
    /// False when told to stop meanwhile.
    bool waitUntil(Clock::time_point time);
    bool isStopping();

    const std::string name_;
    const ReplayPlan plan_;
    const ActionPatterns patterns_;

    // Of the thread, once started.
    std::unique_ptr<InputFile> input_;
    RecordSink* sink_ = nullptr;
    SourceId id_ = 0;
    std::optional<std::int64_t> firstMicros_; ///< recorded time of the round's first record
    Clock::time_point roundStart_;            ///< when that was sent
    std::map<std::string, std::uint64_t> skippedTold_;

    std::mutex mutex_;
    std::condition_variable wake_;
    bool stopping_ = false; ///< guarded by mutex_
    std::thread thread_;
};

} // namespace brindle::tallyd
