// SPDX-License-Identifier: BSD-2-Clause
//
// The works that are done once a record, a row or a look-up, each over a few thousand made-up items
// that are the same on every machine. bench_works tells what one item costs; a test holds each
// against a reference work, so that one that became slow is noticed. One thread.
//
//     for (const Work& work : allWorks()) work.run();
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace brindle::bench {

struct Work {
    std::string name;
    std::size_t items; ///< done in one run
    /// Returns a number that depends on all of its results, so that none is optimized away.
    std::function<std::size_t()> run;
};

/// Hash table look-ups of address texts and sums over their bytes: what the speed of a machine is
/// judged by. Nothing of ours.
Work referenceWork();

std::vector<Work> addressWorks();
std::vector<Work> lookupWorks();
std::vector<Work> recordWorks();
std::vector<Work> tallyWorks();
/// All but the reference.
std::vector<Work> allWorks();

/// Address texts as the traffic has them, a fifth of them IPv6.
std::vector<std::string> addressTexts(std::size_t count);

} // namespace brindle::bench
