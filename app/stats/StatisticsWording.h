// SPDX-License-Identifier: BSD-2-Clause
//
// The texts of a statistics window, made from plain values. Main thread (translations).
#pragma once

#include "app/tallies/TallyArrayController.h"
#include "app/tallies/TallyColumn.h"

#include <QString>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace brindle {

/// What a statistics window is about, as it was when it opened.
struct StatisticsFacts {
    TallyTableKind kind = TallyTableKind::portsOfAddress;
    std::size_t rows = 0;
    std::int64_t records = 0;
    double since = 0; ///< seconds since 1970; 0: since the first record
    bool connected = false;
};

/// "12 ports · 5,678 records · since 2023/11/14 22:13:20".
QString totalsText(const StatisticsFacts& facts);
/// The sentence in a table without rows.
QString emptyStatisticsText(const StatisticsFacts& facts);
/// "443 https", or the address: what a slice is called.
QString entryName(const VisualizerObj& row);
/// A file's name without its suffix: nothing in it that some file system refuses.
QString fileNameOf(const QString& caption);
/// A line a row, cells parted by tabs; counts without separators.
QString copiedText(const TallyArrayController& rows, const std::vector<std::size_t>& positions,
                   std::span<const TallyColumn> columns);

} // namespace brindle
