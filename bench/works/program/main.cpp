// SPDX-License-Identifier: BSD-2-Clause
//
// What one item of each work costs: the address toolkit, look-ups, records between their forms,
// rows of tallies.
//
//     build/release/bin/bench_works --benchmark_filter=record
#include "bench/works/Works.h"

#include <benchmark/benchmark.h>

using namespace brindle::bench;

namespace {

void add(const Work& work) {
    benchmark::RegisterBenchmark(work.name.c_str(), [work](benchmark::State& state) {
        for (auto _ : state)
            benchmark::DoNotOptimize(work.run());
        // Seconds an item, printed with their unit.
        state.counters["each"] = benchmark::Counter(static_cast<double>(work.items),
                                                    benchmark::Counter::kIsIterationInvariantRate |
                                                        benchmark::Counter::kInvert);
    })->Unit(benchmark::kMicrosecond);
}

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    add(referenceWork());
    for (const Work& work : allWorks())
        add(work);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
