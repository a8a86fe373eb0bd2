// SPDX-License-Identifier: BSD-2-Clause
//
// The former selves of a log file beside it: "kern.log.2", "kern.log.1" or "kern.log-20260608".
// Called on the thread that follows the file.
#pragma once

#include "tallyd/sources/follow/LogFile.h"

#include <string>
#include <vector>

namespace brindle::tallyd {

struct RotatedFile {
    LogFile file;
    char separator = '.';
    std::string number; ///< what follows the separator: digits, or digits and dashes

    /// Whether this was the log before `other` was; false for names of different manners.
    bool isBefore(const RotatedFile& other) const;
};

/// What there is and can be read, uncompressed, in the order of writing as far as the names tell.
/// Empty when the folder cannot be read.
std::vector<RotatedFile> rotatedFiles(const std::string& path);

} // namespace brindle::tallyd
