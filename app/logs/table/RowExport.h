// SPDX-License-Identifier: BSD-2-Clause
//
// What the table's copy actions put on the clipboard. Plain text, UTF-8; reads rows, so for the
// main thread. `positions` count arranged rows, in the order wanted; those beyond the rows are left
// out.
#pragma once

#include "app/logs/table/LogsArrayController.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace brindle {

enum class AddressSide : std::uint8_t { source, destination };
enum class TitleLine : std::uint8_t { without, with };

/// The raw address (never a resolved name) of each row, duplicates kept.
std::vector<std::string> addressesOfRows(const LogsArrayController& controller,
                                         std::span<const std::uint32_t> positions,
                                         AddressSide side);
/// Joined by line feeds, none at the end.
std::string joinedLines(std::span<const std::string> lines);

/// A line a row, its cells' texts separated by tabs, none at the end; tabs and line ends within a
/// text become spaces.
std::string rowsAsText(const LogsArrayController& controller,
                       std::span<const std::uint32_t> positions,
                       TitleLine titles = TitleLine::without);

} // namespace brindle
