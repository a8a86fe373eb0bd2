// SPDX-License-Identifier: BSD-2-Clause
//
// The files that a store consists of: the main file, and beside it those that SQLite keeps while
// the store is open. Any thread.
#pragma once

#include <cstdint>
#include <string>

#include <sys/stat.h>

namespace brindle::tallyd {

inline constexpr const char* kLogSuffix = "-wal";
inline constexpr const char* kLogIndexSuffix = "-shm";

/// 0 for a file that is not there.
inline std::uint64_t fileBytes(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 ? static_cast<std::uint64_t>(status.st_size) : 0;
}

} // namespace brindle::tallyd
