// SPDX-License-Identifier: BSD-2-Clause
//
// What the exclusion test costs a record with ten thousand entries, by the kind of entry and for a
// mixture of all, with records that pass every test (which is the dearest answer) and records of
// which half are hidden. Also what a commit costs the main thread.
#include "core/exclusions/ExclusionFromText.h"
#include "core/exclusions/ExclusionList.h"
#include "core/net/NWKIPTools.h"

#include <cstdint>
#include <random>
#include <string>
#include <variant>
#include <vector>

#include <benchmark/benchmark.h>

namespace {

using namespace brindle;

constexpr int kEntries = 10000;

enum class Kind { ports, addresses, ranges4, ranges6, mixed };

VDXExclusion entryOf(const std::string& text) {
    return std::get<VDXExclusion>(exclusionFromText(text));
}

std::string quad(std::mt19937& random, std::uint32_t network) {
    return ipv4StringFromNumber(network | (random() & 0x00FFFFFFu));
}

std::string colons(std::mt19937& random, std::uint16_t second) {
    Ipv6Groups groups{0x2001, second};
    for (std::size_t i = 2; i < 8; ++i)
        groups[i] = static_cast<std::uint16_t>(random() % 4 ? random() : 0);
    return ipv6StringFromGroups(groups);
}

/// Entries in 10/8 and 2001:db8::/32, ports above 20000.
std::vector<VDXExclusion> entries(Kind kind) {
    std::mt19937 random(1);
    std::vector<VDXExclusion> list;
    for (int i = 0; i < kEntries; ++i) {
        switch (kind == Kind::mixed ? static_cast<Kind>(i % 4) : kind) {
        case Kind::ports:
            list.push_back(entryOf(std::to_string(20000 + i)));
            break;
        case Kind::addresses:
            list.push_back(entryOf(i % 2 ? quad(random, 10u << 24) : colons(random, 0xDB8)));
            break;
        case Kind::ranges4:
            list.push_back(entryOf(quad(random, 10u << 24) + "/28"));
            break;
        default:
            list.push_back(entryOf(colons(random, 0xDB8) + "/64"));
        }
    }
    return list;
}

/// Keeps nothing: only the cost of the list itself counts here.
struct NoStorage final : ExclusionStorage {
    std::vector<VDXExclusion> list;
    std::vector<VDXExclusion> read() override { return list; }
    void store(ExclusionChange, std::vector<VDXExclusion>,
               std::function<void(std::vector<VDXExclusion>)>) override {}
};

struct Record {
    std::string srcip, srcport, dstip, dstport;
    int family;
};

void testRecords(benchmark::State& state, Kind kind, int family, bool inside) {
    NoStorage storage;
    storage.list = entries(kind);
    ExclusionList exclusions(storage, [] {});
    exclusions.loadExclusions();

    std::mt19937 random(2);
    std::vector<Record> records;
    for (int i = 0; i < 4096; ++i) {
        const bool near = inside && i % 2;
        const auto address = [&] {
            return family == 4 ? quad(random, near ? 10u << 24 : 192u << 24)
                               : colons(random, near ? 0xDB8 : 0xDB9);
        };
        records.push_back({address(), std::to_string(near ? 20000 + random() % 10000 : 40000 + i),
                           address(), "443", family});
    }
    std::size_t next = 0;
    std::int64_t excluded = 0;
    for (auto _ : state) {
        const Record& r = records[next++ % records.size()];
        excluded += exclusions.isExcluded(r.srcip, r.srcport, r.dstip, r.dstport, r.family);
    }
    state.counters["hidden"] =
        static_cast<double>(excluded) / static_cast<double>(state.iterations());
}

void commit(benchmark::State& state) {
    NoStorage storage;
    storage.list = entries(Kind::mixed);
    ExclusionList exclusions(storage, [] {});
    exclusions.loadExclusions();
    const std::vector<std::string> texts{"1"};
    for (auto _ : state) {
        exclusions.addExclusion(entryOf("1"));
        exclusions.removeExclusions(texts);
    }
}

BENCHMARK_CAPTURE(testRecords, ports_pass, Kind::ports, 4, false);
BENCHMARK_CAPTURE(testRecords, addresses_pass, Kind::addresses, 4, false);
BENCHMARK_CAPTURE(testRecords, ranges4_pass, Kind::ranges4, 4, false);
BENCHMARK_CAPTURE(testRecords, ranges4_inside, Kind::ranges4, 4, true);
BENCHMARK_CAPTURE(testRecords, ranges6_pass, Kind::ranges6, 6, false);
BENCHMARK_CAPTURE(testRecords, ranges6_inside, Kind::ranges6, 6, true);
BENCHMARK_CAPTURE(testRecords, mixed4_pass, Kind::mixed, 4, false);
BENCHMARK_CAPTURE(testRecords, mixed6_pass, Kind::mixed, 6, false);
BENCHMARK_CAPTURE(testRecords, mixed4_inside, Kind::mixed, 4, true);
BENCHMARK_CAPTURE(testRecords, mixed6_inside, Kind::mixed, 6, true);
BENCHMARK(commit)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
