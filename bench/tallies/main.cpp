// SPDX-License-Identifier: BSD-2-Clause
//
// What one request for counts costs the daemon, over a store that holds a month: every question,
// from starts that differ in how much lies before the first whole day. The store is given by
// BENCH_STORE; its days are rolled up first, as the daemon does beside its intake. Beside it stands
// what the same answer costs from the records themselves.
//
//     BENCH_STORE=/tmp/month.sqlite build/release/bin/bench_tallies
#include "tallyd/store/IntakeLimits.h"
#include "tallyd/store/Sqlite.h"
#include "tallyd/store/Store.h"
#include "tallyd/store/TallySchema.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <memory>
#include <string>

#include <benchmark/benchmark.h>

namespace {

using namespace brindle;
using namespace brindle::tallyd;

std::unique_ptr<StoreReader> reader;
std::string path;

enum class Start : std::int64_t { first, thirdDay, dayBeforeLast };

std::int64_t startOf(Start start) {
    const StoreFigures figures = reader->figures().value();
    // Half an hour into its hour, an hour into its day: as much as may lie before what is whole.
    const auto inDay = [](std::int64_t time) {
        return dayOfHour(hourOf(time)) * kHoursADay * kHourMicros + kHourMicros + kHourMicros / 2;
    };
    switch (start) {
    case Start::first:
        return 0;
    case Start::thirdDay:
        return inDay(*figures.oldest + 2 * kHoursADay * kHourMicros);
    case Start::dayBeforeLast:
        break;
    }
    return inDay(*figures.newest - 2 * kHoursADay * kHourMicros);
}

TallyQuestion questionOf(TallyQuestion::Of of) {
    TallyQuestion question{.of = of, .action = Action::block, .direction = Direction::in};
    question.port = 443;
    // The address with the most records has the most to tell.
    question.address =
        *IpAddress::parse(reader->count(0, {.action = Action::block}).value().entries.at(0).label);
    return question;
}

void countFromTallies(benchmark::State& state, TallyQuestion::Of of, Start start) {
    const TallyQuestion question = questionOf(of);
    const std::int64_t from = startOf(start);
    std::size_t entries = 0;
    for (auto _ : state) {
        const auto reply = reader->count(from, question);
        entries = reply.value().entries.size();
        benchmark::DoNotOptimize(entries);
    }
    state.counters["entries"] = static_cast<double>(entries);
}

void countFromRecords(benchmark::State& state) {
    sqlite::Connection connection(path, sqlite::Access::read);
    sqlite::Statement statement(connection,
                                "SELECT src, count(*) FROM records WHERE flags = 1 GROUP BY src");
    std::size_t entries = 0;
    for (auto _ : state) {
        entries = 0;
        while (statement.step())
            ++entries;
        statement.reset();
    }
    state.counters["entries"] = static_cast<double>(entries);
}

void addBenchmarks() {
    using Of = TallyQuestion::Of;
    const std::pair<const char*, Of> questions[]{{"sources", Of::sources},
                                                 {"ports", Of::ports},
                                                 {"ports_of_address", Of::portsOfAddress},
                                                 {"addresses_of_port", Of::addressesOfPort}};
    const std::pair<const char*, Start> starts[]{{"first", Start::first},
                                                 {"third_day", Start::thirdDay},
                                                 {"day_before_last", Start::dayBeforeLast}};
    for (const auto& [question, of] : questions)
        for (const auto& [name, start] : starts)
            benchmark::RegisterBenchmark((std::string(question) + "/from_" + name).c_str(),
                                         countFromTallies, of, start)
                ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("sources_from_records", countFromRecords)
        ->Unit(benchmark::kMillisecond);
}

/// The longest step in milliseconds: for so long a batch may have to wait.
double rollUp(const Store& store) {
    const auto writer = store.writer(StoreUse::live).value();
    double longest = 0;
    for (bool more = true; more;) {
        const auto began = std::chrono::steady_clock::now();
        more = writer
                   ->rollUpDay(std::numeric_limits<std::int64_t>::max() / 2,
                               IntakeLimits().rollUpEntries)
                   .value();
        const std::chrono::duration<double, std::milli> step =
            std::chrono::steady_clock::now() - began;
        longest = std::max(longest, step.count());
    }
    return longest;
}

} // namespace

int main(int argc, char** argv) {
    const char* given = std::getenv("BENCH_STORE");
    if (!given) {
        std::fputs("bench_tallies: BENCH_STORE names no store\n", stderr);
        return 2;
    }
    path = given;
    const auto store = Store::open(path);
    if (!store) {
        std::fprintf(stderr, "bench_tallies: %s\n", store.error().c_str());
        return 1;
    }
    std::printf("longest step of rolling up: %.1f ms\n", rollUp(*store));
    reader = store->reader().value();
    if (!reader->figures().value().oldest) {
        std::fprintf(stderr, "bench_tallies: %s is empty\n", given);
        return 1;
    }
    benchmark::Initialize(&argc, argv);
    addBenchmarks();
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
