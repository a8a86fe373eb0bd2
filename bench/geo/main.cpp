// SPDX-License-Identifier: BSD-2-Clause
//
// What the import of a nation database costs the start, and what a look-up costs. By default a
// database of 561,828 blocks spread over the nations as real ones are; with BENCH_NATIONS_RANGES
// set to a list of ranges ("first,last,code"), the database that makenations makes of it.
//
//     BENCH_NATIONS_RANGES=/usr/share/tor/geoip build/release/bin/bench_geo
#include "core/geo/NationNames.h"
#include "core/geo/NationsDatabase.h"
#include "core/geo/VDXNationInfo.h"
#include "core/geo/builder/NationRanges.h"
#include "core/net/NWKIPTools.h"
#include "platform/plist/PropertyList.h"

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

namespace {

using namespace brindle;

constexpr std::uint32_t kBlocks = 561'828;

/// Pictures without a drawing: only the look-up itself counts here.
struct BlankPictures final : ImageEffects {
    Picture load(std::string_view) const override { return {}; }
    PictureSize size(const Picture&) const override { return {64, 48}; }
    Picture roundImage(const Picture&, double, double) const override {
        return Picture::fromPixels(1, 1, {0});
    }
    Picture resizedImage(const Picture&, double, double) const override {
        return Picture::fromPixels(1, 1, {0});
    }
};

/// Neighbouring blocks of /20 to /26 from 1.0.0.0 on, each for a nation drawn at random, listed by
/// nation.
NationRanges madeUpRanges() {
    NationRanges nations;
    std::mt19937 random(1);
    const auto names = nationNames();
    std::uint32_t next = 1u << 24;
    for (std::uint32_t i = 0; i < kBlocks; ++i) {
        const std::uint32_t hostBits = 6 + random() % 7;
        next = ((next >> hostBits) + 1) << hostBits;
        nations.ranges[std::string(names[random() % names.size()].code)].push_back(
            blockRange(next, 32 - hostBits));
        next += 1u << hostBits;
    }
    return nations;
}

/// The database in a file of its own for the length of the run.
class DatabaseFile {
  public:
    DatabaseFile() {
        char pattern[] = "/tmp/brindle-bench-geo-XXXXXX";
        folder_ = mkdtemp(pattern);
        NationRanges nations = madeUpRanges();
        if (const char* source = std::getenv("BENCH_NATIONS_RANGES")) {
            std::ifstream in(source);
            nations = readNationRanges(in).value();
        }
        std::ofstream out(path());
        writeNationBlocks(nations, out);
    }
    ~DatabaseFile() { std::filesystem::remove_all(folder_); }
    DatabaseFile(const DatabaseFile&) = delete;
    DatabaseFile& operator=(const DatabaseFile&) = delete;
    std::string path() const { return folder_ / "worldCIDR.plist"; }

  private:
    std::filesystem::path folder_;
};

const DatabaseFile& databaseFile() {
    static const DatabaseFile file;
    return file;
}

const BlankPictures kPictures;

std::unique_ptr<NationsDatabase> imported() {
    auto database = std::make_unique<NationsDatabase>([](const std::string&) {}, kPictures,
                                                      databaseFile().path());
    database->importNationsDB();
    return database;
}

std::size_t blockCount(const NationsDatabase& database) {
    std::size_t count = 0;
    for (const auto& nation : database.nationsDatabase())
        count += nation.nationAddresses.size();
    return count;
}

void import(benchmark::State& state) {
    NationsDatabase database([](const std::string&) {}, kPictures, databaseFile().path());
    for (auto _ : state)
        database.importNationsDB();
    state.counters["blocks"] = static_cast<double>(blockCount(database));
}

/// The same file through the general reader, without any index.
void readByLibrary(benchmark::State& state) {
    databaseFile();
    for (auto _ : state)
        benchmark::DoNotOptimize(platform::readPropertyList(databaseFile().path()));
}

/// BENCH_NATIONS_BINARY: a database in the binary form, made by another program.
void importBinary(benchmark::State& state) {
    const char* path = std::getenv("BENCH_NATIONS_BINARY");
    if (!path) {
        state.SkipWithError("BENCH_NATIONS_BINARY names no file");
        return;
    }
    NationsDatabase database([](const std::string&) {}, kPictures, path);
    for (auto _ : state)
        database.importNationsDB();
    state.counters["blocks"] = static_cast<double>(blockCount(database));
}

std::vector<std::string> addresses(std::size_t count) {
    std::mt19937 random(2);
    std::vector<std::string> texts;
    for (std::size_t i = 0; i < count; ++i)
        texts.push_back(ipv4StringFromNumber(random()));
    return texts;
}

void firstMatch(benchmark::State& state) {
    const auto database = imported();
    std::mt19937 random(3);
    for (auto _ : state)
        benchmark::DoNotOptimize(database->firstMatch(random()));
}

/// Every text is new to the cache, which grows to `texts` answers and is then made anew.
void lookupUncached(benchmark::State& state) {
    const auto database = imported();
    const auto texts = addresses(static_cast<std::size_t>(state.range(0)));
    auto nationInfo = std::make_unique<VDXNationInfo>(*database, kPictures, nullptr);
    std::size_t next = 0;
    for (auto _ : state) {
        if (next == texts.size()) {
            state.PauseTiming();
            nationInfo = std::make_unique<VDXNationInfo>(*database, kPictures, nullptr);
            next = 0;
            state.ResumeTiming();
        }
        benchmark::DoNotOptimize(nationInfo->lookupNation(texts[next++]));
    }
}

void lookupCached(benchmark::State& state) {
    const auto database = imported();
    const auto texts = addresses(10'000);
    VDXNationInfo nationInfo(*database, kPictures, nullptr);
    std::size_t next = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(nationInfo.lookupNation(texts[next++ % texts.size()]));
}

BENCHMARK(import)->Unit(benchmark::kMillisecond);
BENCHMARK(importBinary)->Unit(benchmark::kMillisecond);
BENCHMARK(readByLibrary)->Unit(benchmark::kMillisecond);
BENCHMARK(firstMatch);
BENCHMARK(lookupUncached)->Arg(10'000)->Arg(1'000'000);
BENCHMARK(lookupCached);

} // namespace

BENCHMARK_MAIN();
