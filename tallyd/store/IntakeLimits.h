// SPDX-License-Identifier: BSD-2-Clause
//
// How the intake goes about its work, and how much the store keeps. Plain values, set by tallyd's
// main before the intake begins.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace brindle::tallyd {

/// Both limits hold together; the oldest records go first.
struct Retention {
    std::optional<std::chrono::seconds> age{}; ///< records older than this are deleted
    /// The store's files together take no more than this. More by what is under way: five in a
    /// hundred at most from 200 MB on.
    std::optional<std::uint64_t> bytes{};
};

struct IntakeLimits {
    std::size_t queueRecords = 262144;      ///< accepted and not yet taken by the writer
    std::size_t batchRecords = 16384;       ///< a batch closes with so many records ...
    std::chrono::milliseconds batchAge{50}; ///< ... or when its first record has waited so long
    std::size_t purgeRecords = 5000;        ///< deleted in one step between batches
    std::size_t shrinkPages = 256;          ///< given back to the file system in one step
    std::size_t rollUpEntries = 65536;      ///< of a day's counts, rolled up in one step
    /// How often days that are over are looked for, to roll their counts up; 0: never.
    std::chrono::milliseconds rollUpEvery = std::chrono::minutes(1);
    /// How often the age of records is looked at.
    std::chrono::milliseconds retainEvery = std::chrono::minutes(1);
    Retention retention{};

    /// Batches are committed within 100 ms of their first record.
    static IntakeLimits live() { return {}; }
    /// Large batches: nobody waits for a single record. Days are left to the daemon.
    static IntakeLimits import() {
        return {.batchRecords = 131072,
                .batchAge = std::chrono::seconds(10),
                .rollUpEvery = std::chrono::milliseconds(0)};
    }
};

} // namespace brindle::tallyd
