// SPDX-License-Identifier: BSD-2-Clause
//
// What a viewer tells about the daemon's state: how much is stored, what was lost and why, and what
// is waited for. A value; any thread.
#pragma once

#include "protocol/DaemonStatus.h"

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace brindle {

/// What the daemon said last about itself.
struct DaemonFigures {
    std::uint64_t stored = 0;                          ///< records in its store
    std::map<std::string, std::uint64_t> lostByReason; ///< since it started
    /// Sources that cannot be read now: "nflog:5", "waiting: another program has this group".
    std::vector<std::pair<std::string, std::string>> waiting;

    std::uint64_t lost() const;
};

DaemonFigures daemonFigures(const DaemonStatus& status);

} // namespace brindle
