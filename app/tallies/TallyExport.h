// SPDX-License-Identifier: BSD-2-Clause
//
// A tally table as comma-separated values, as it stands: filtered and sorted. Main thread.
#pragma once

#include "app/tallies/TallyArrayController.h"
#include "app/tallies/TallyColumn.h"

#include <span>
#include <string>

namespace brindle {

/// UTF-8; a line of titles, then a line a row, each ended by "\r\n" (RFC 4180). The legend is left
/// out, an address whose name is known gets a column of its own for the name. Texts that a
/// spreadsheet would take for a formula are disarmed by an apostrophe: names come from outside.
std::string tallyCsv(const TallyArrayController& controller, std::span<const TallyColumn> columns);

} // namespace brindle
