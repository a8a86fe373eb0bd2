// SPDX-License-Identifier: BSD-2-Clause
//
// What the look-up of a nation costs libmaxminddb, down to the code: from the text of an address
// and from its number. The same addresses as bench_geo's. BENCH_MMDB names the database.
//
//     BENCH_MMDB=/tmp/nations.mmdb build/release/bin/bench_mmdb
#include "core/net/NWKIPTools.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <maxminddb.h>

namespace {

MMDB_s database;

/// The length of the code's text; 0 when there is none.
std::uint32_t codeSize(MMDB_lookup_result_s& found) {
    MMDB_entry_data_s code{};
    if (!found.found_entry ||
        MMDB_get_value(&found.entry, &code, "country", "iso_code", nullptr) != MMDB_SUCCESS)
        return 0;
    return code.has_data ? code.data_size : 0;
}

void fromText(benchmark::State& state) {
    std::mt19937 random(2);
    std::vector<std::string> texts;
    for (std::int64_t i = 0; i < state.range(0); ++i)
        texts.push_back(brindle::ipv4StringFromNumber(static_cast<std::uint32_t>(random())));
    std::size_t next = 0;
    std::uint64_t found = 0;
    for (auto _ : state) {
        int wrongText = 0;
        int failure = 0;
        auto result = MMDB_lookup_string(&database, texts[next++ % texts.size()].c_str(),
                                         &wrongText, &failure);
        found += codeSize(result);
    }
    benchmark::DoNotOptimize(found);
}

void fromNumber(benchmark::State& state) {
    std::mt19937 random(3);
    std::uint64_t found = 0;
    for (auto _ : state) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(static_cast<std::uint32_t>(random()));
        int failure = 0;
        auto result =
            MMDB_lookup_sockaddr(&database, reinterpret_cast<const sockaddr*>(&address), &failure);
        found += codeSize(result);
    }
    benchmark::DoNotOptimize(found);
}

BENCHMARK(fromText)->Arg(10'000)->Arg(1'000'000);
BENCHMARK(fromNumber);

} // namespace

int main(int argc, char** argv) {
    const char* path = std::getenv("BENCH_MMDB");
    if (!path || MMDB_open(path, MMDB_MODE_MMAP, &database) != MMDB_SUCCESS) {
        std::fputs("bench_mmdb: BENCH_MMDB names no database\n", stderr);
        return 2;
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    MMDB_close(&database);
    return 0;
}
