// SPDX-License-Identifier: BSD-2-Clause
//
// Event times for whoever asks why the viewer was slow: a JSON array of trace events, as trace
// viewers of browsers read it, written as it happens. Owned by the composition root; everyone else
// holds a pointer, null when nothing is traced. Any thread.
//
//     TraceSpan span(trace, "sort");          // complete event, ends with the scope
//     traceInstant(trace, "first rows painted");
#pragma once

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

namespace brindle {

class Trace {
  public:
    using Clock = std::chrono::steady_clock;

    /// Null when the file cannot be written. Times count from `start`.
    static std::unique_ptr<Trace> open(const std::string& path, Clock::time_point start);
    ~Trace();
    Trace(const Trace&) = delete;
    Trace& operator=(const Trace&) = delete;

    void instant(std::string_view name);
    /// Start-up is over: from here on the main thread must answer.
    void firstRowsPainted();
    void complete(std::string_view name, Clock::time_point begin, Clock::time_point end);
    /// The main thread did not return to its event loop between the two; the longest such time
    /// since the first rows were painted is written when the trace ends.
    void mainThreadHeld(std::string_view what, Clock::time_point begin, Clock::time_point end);

  private:
    Trace(std::FILE* file, Clock::time_point start);
    void write(std::string_view name, char phase, Clock::time_point begin,
               std::int64_t durationMicros);

    std::FILE* const file_;
    const Clock::time_point start_;
    std::mutex mutex_;
    bool painted_ = false;                            ///< guarded by mutex_
    bool first_ = true;                               ///< guarded by mutex_
    Clock::time_point longestBegin_{}, longestEnd_{}; ///< guarded by mutex_
    std::string longestWhat_;                         ///< guarded by mutex_
};

inline void traceInstant(Trace* trace, std::string_view name) {
    if (trace != nullptr) {
        trace->instant(name);
    }
}

/// The time of a scope. `name` outlives it.
class TraceSpan {
  public:
    TraceSpan(Trace* trace, std::string_view name) : trace_(trace), name_(name) {
        if (trace_ != nullptr) {
            begin_ = Trace::Clock::now();
        }
    }
    ~TraceSpan() {
        if (trace_ != nullptr) {
            trace_->complete(name_, begin_, Trace::Clock::now());
        }
    }
    TraceSpan(const TraceSpan&) = delete;
    TraceSpan& operator=(const TraceSpan&) = delete;

  private:
    Trace* const trace_;
    const std::string_view name_;
    Trace::Clock::time_point begin_;
};

} // namespace brindle
