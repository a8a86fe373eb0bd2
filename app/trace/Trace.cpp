// SPDX-License-Identifier: BSD-2-Clause
#include "app/trace/Trace.h"

#include <fmt/format.h>

#include <functional>
#include <thread>

#include <unistd.h>

namespace brindle {
namespace {

using std::chrono::duration_cast;
using std::chrono::microseconds;

/// Holds shorter than this do not show.
constexpr std::chrono::milliseconds kHeldLong{16};

std::string jsonText(std::string_view text) {
    std::string quoted = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') {
            quoted += '\\';
        }
        quoted += static_cast<unsigned char>(c) < 0x20 ? ' ' : c;
    }
    return quoted + '"';
}

} // namespace

std::unique_ptr<Trace> Trace::open(const std::string& path, Clock::time_point start) {
    std::FILE* file = std::fopen(path.c_str(), "we");
    return std::unique_ptr<Trace>(file == nullptr ? nullptr : new Trace(file, start));
}

Trace::Trace(std::FILE* file, Clock::time_point start) : file_(file), start_(start) {
    std::fputs("[\n", file_);
}

Trace::~Trace() {
    if (longestEnd_ > longestBegin_) {
        write("longest main-thread hold: " + longestWhat_, 'X', longestBegin_,
              duration_cast<microseconds>(longestEnd_ - longestBegin_).count());
    }
    std::fputs("\n]\n", file_);
    std::fclose(file_);
}

void Trace::instant(std::string_view name) {
    write(name, 'i', Clock::now(), 0);
}

void Trace::complete(std::string_view name, Clock::time_point begin, Clock::time_point end) {
    write(name, 'X', begin, duration_cast<microseconds>(end - begin).count());
}

void Trace::firstRowsPainted() {
    instant("first rows painted");
    const std::lock_guard lock(mutex_);
    painted_ = true;
}

void Trace::mainThreadHeld(std::string_view what, Clock::time_point begin, Clock::time_point end) {
    {
        const std::lock_guard lock(mutex_);
        if (painted_ && end - begin > longestEnd_ - longestBegin_) {
            longestBegin_ = begin;
            longestEnd_ = end;
            longestWhat_ = what;
        }
    }
    if (end - begin >= kHeldLong) {
        complete(fmt::format("main thread held: {}", what), begin, end);
    }
}

void Trace::write(std::string_view name, char phase, Clock::time_point begin,
                  std::int64_t durationMicros) {
    const auto thread = std::hash<std::thread::id>{}(std::this_thread::get_id()) % 1'000'000;
    const auto time = duration_cast<microseconds>(begin - start_).count();
    const std::string scope =
        phase == 'X' ? fmt::format(R"("dur":{})", durationMicros) : std::string(R"("s":"p")");
    const std::string line = fmt::format(R"({{"name":{},"ph":"{}","ts":{},{},"pid":{},"tid":{}}})",
                                         jsonText(name), phase, time, scope, ::getpid(), thread);
    const std::lock_guard lock(mutex_);
    if (!first_) {
        std::fputs(",\n", file_);
    }
    first_ = false;
    std::fputs(line.c_str(), file_);
    std::fflush(file_);
}

} // namespace brindle
