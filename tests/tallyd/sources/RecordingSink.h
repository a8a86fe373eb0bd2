// SPDX-License-Identifier: BSD-2-Clause
//
// A sink that keeps what one source gives it. Tests only.
#pragma once

#include "tallyd/records/RecordSink.h"

#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <utility>

#include <gtest/gtest.h>

namespace brindle::tallyd {

/// Callable from any thread; `waitFor` returns once enough came, or fails the test after a long
/// time.
class RecordingSink final : public RecordSink {
  public:
    struct Seen {
        std::vector<PacketRecord> records;
        std::vector<std::string> states;
        std::string name;
        std::string position;
        std::size_t additions = 0;
        std::map<std::string, std::uint64_t, std::less<>> lostBy;
        std::uint64_t lost = 0;
    };

    explicit RecordingSink(WhenFull expected = WhenFull::wait, std::string stored = {})
        : expected_(expected), stored_(std::move(stored)) {}

    SourceId addSource(const std::string& name) override {
        seen_.name = name;
        return 5;
    }
    std::string storedPosition(SourceId) override { return stored_; }
    void setState(SourceId source, const std::string& state) override {
        change(source, [&](Seen& seen) { seen.states.push_back(state); });
    }
    void add(SourceId source, std::vector<PacketRecord> records, WhenFull whenFull,
             std::string position) override {
        EXPECT_EQ(whenFull, expected_);
        EXPECT_FALSE(records.empty() && position.empty());
        change(source, [&](Seen& seen) {
            ++seen.additions;
            seen.records.insert(seen.records.end(), records.begin(), records.end());
            if (!position.empty())
                seen.position = position;
        });
    }
    void countLost(SourceId source, std::string_view reason, std::uint64_t count) override {
        change(source, [&](Seen& seen) {
            seen.lostBy[std::string(reason)] += count;
            seen.lost += count;
        });
    }

    template <typename Predicate>
    Seen waitFor(Predicate predicate) {
        std::unique_lock lock(mutex_);
        EXPECT_TRUE(
            changed_.wait_for(lock, std::chrono::seconds(30), [&] { return predicate(seen_); }));
        return seen_;
    }
    Seen waitForRecords(std::size_t count) {
        return waitFor([count](const Seen& seen) { return seen.records.size() >= count; });
    }
    Seen waitForState(const std::string& start) {
        return waitFor([&](const Seen& seen) {
            return !seen.states.empty() && seen.states.back().starts_with(start);
        });
    }
    Seen waitForEnd() {
        return waitFor([](const Seen& seen) {
            return !seen.states.empty() && seen.states.back() != "running";
        });
    }
    Seen seen() {
        return waitFor([](const Seen&) { return true; });
    }

  private:
    template <typename Change>
    void change(SourceId source, Change how) {
        EXPECT_EQ(source, 5u);
        const std::lock_guard lock(mutex_);
        how(seen_);
        changed_.notify_all();
    }

    const WhenFull expected_;
    const std::string stored_;
    std::mutex mutex_;
    std::condition_variable changed_;
    Seen seen_;
};

} // namespace brindle::tallyd
