// SPDX-License-Identifier: BSD-2-Clause
//
// How the logs window writes numbers and what it says in place of rows and in its status bar. Pure
// functions; any thread.
#pragma once

#include "core/log/DaemonFigures.h"
#include "core/log/Views.h"

#include <QString>

#include <cstddef>
#include <cstdint>
#include <optional>

namespace brindle {

/// "10,482,113", the same in every locale.
QString grouped(std::uint64_t number);

/// Everything the logs window's status bar tells.
struct LogsStatus {
    LogsMode mode = LogsMode::live;
    bool connected = false;
    bool loading = false;       ///< an answer is arriving
    bool stopped = false;       ///< the user stopped the last one
    std::uint64_t liveRate = 0; ///< records a second
    std::size_t rows = 0;
    std::size_t selected = 0;
    std::optional<DaemonFigures> daemon;
};

/// "live 214/s · 1,000 rows · 3 selected · stored 10,482,113 · lost 12 (queue full) · 1 source
/// waits": the parts that apply.
QString statusText(const LogsStatus& status);

/// Losses by reason and the sources that wait, a line each; empty when there are none.
QString troubleText(const LogsStatus& status);

/// Sentence for a table without rows; empty while one is on its way.
QString emptyTableText(const LogsStatus& status, bool filtered);

} // namespace brindle
