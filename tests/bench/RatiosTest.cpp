// SPDX-License-Identifier: BSD-2-Clause
//
// No work got much slower: each is held against a reference work that is measured between its own
// runs, and the ratio of the two against the one in ratios.txt. Processor time of this thread, and
// of many runs the quickest, so that other work on the machine does not count.
//
// BRINDLE_WRITE_RATIOS=FILE writes the ratios of this machine there instead.
#include "bench/works/Works.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <limits>
#include <map>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace brindle::bench {
namespace {

constexpr double kTolerance = 1.5;
/// A round is an interleaved measurement of all works; only what is too slow is measured again.
constexpr int kRounds = 10;
constexpr double kSecondsAWork = 0.15;
constexpr int kLeastRuns = 10;

double processorSeconds() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

volatile std::size_t kept; ///< what works return, so that they are done

double secondsOf(const Work& work) {
    const double begin = processorSeconds();
    kept = work.run();
    return processorSeconds() - begin;
}

/// Time of an item of the work over that of the reference.
double ratioOf(const Work& work, const Work& reference) {
    double own = std::numeric_limits<double>::max();
    double other = own;
    const double begin = processorSeconds();
    for (int run = 0; run < kLeastRuns || processorSeconds() - begin < kSecondsAWork; ++run) {
        other = std::min(other, secondsOf(reference));
        own = std::min(own, secondsOf(work));
    }
    return own / static_cast<double>(work.items) * static_cast<double>(reference.items) / other;
}

/// Lines of a ratio and a name.
std::map<std::string, double> storedRatios() {
    std::map<std::string, double> ratios;
    std::ifstream file(BRINDLE_RATIOS);
    double ratio = 0;
    for (std::string name; file >> ratio && std::getline(file >> std::ws, name);)
        ratios[name] = ratio;
    return ratios;
}

TEST(Ratios, NoWorkIsMuchSlowerAgainstTheReferenceThanItWas) {
#if !defined(NDEBUG) || defined(BRINDLE_SANITIZED)
    GTEST_SKIP() << "only a release build without sanitizers has the speed that is stored";
#endif
    const Work reference = referenceWork();
    const std::vector<Work> works = allWorks();
    if (const char* path = std::getenv("BRINDLE_WRITE_RATIOS")) {
        std::ofstream file(path);
        for (const Work& work : works)
            file << ratioOf(work, reference) << ' ' << work.name << '\n';
        GTEST_SKIP() << "the ratios were written to " << path;
    }
    const std::map<std::string, double> stored = storedRatios();
    std::vector<std::string> names;
    for (const auto& [name, ratio] : stored)
        names.push_back(name);
    std::vector<std::string> measured;
    for (const Work& work : works)
        measured.push_back(work.name);
    EXPECT_THAT(measured, testing::UnorderedElementsAreArray(names));

    for (const Work& work : works) {
        const double limit = stored.contains(work.name) ? stored.at(work.name) * kTolerance : 0;
        double ratio = ratioOf(work, reference);
        for (int round = 1; round < kRounds && ratio > limit; ++round)
            ratio = std::min(ratio, ratioOf(work, reference));
        EXPECT_LE(ratio, limit) << work.name;
        RecordProperty(work.name, std::to_string(ratio));
    }
}

} // namespace
} // namespace brindle::bench
