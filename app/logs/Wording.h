// SPDX-License-Identifier: BSD-2-Clause
//
// How the logs window writes numbers and what it says in place of rows and in its status bar. Pure
// functions; any thread.
#pragma once

#include "core/log/Views.h"

#include <QString>

#include <cstddef>
#include <cstdint>
#include <optional>

namespace brindle {

/// "10,482,113", the same in every locale.
QString grouped(std::uint64_t number);

/// What the daemon said last about itself.
struct StoredAndLost {
    std::uint64_t stored = 0; ///< records in its store
    std::uint64_t lost = 0;   ///< by the daemon and on the way to us
};

/// Everything the logs window's status bar tells.
struct LogsStatus {
    LogsMode mode = LogsMode::live;
    bool connected = false;
    bool loading = false;       ///< an answer is arriving
    bool stopped = false;       ///< the user stopped the last one
    std::uint64_t liveRate = 0; ///< records a second
    std::size_t rows = 0;
    std::size_t selected = 0;
    std::optional<StoredAndLost> daemon;
};

/// "live 214/s · 1,000 rows · 3 selected · stored 10,482,113 · lost 0": the parts that apply.
QString statusText(const LogsStatus& status);

/// Sentence for a table without rows; empty while one is on its way.
QString emptyTableText(const LogsStatus& status, bool filtered);

} // namespace brindle
