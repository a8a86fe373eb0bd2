// SPDX-License-Identifier: BSD-2-Clause
//
// How the exclusions editor words an entry: in the cells of its table and in the line that tells,
// while the user types, what Add would make of the text. Pure functions; any thread.
#pragma once

#include "core/exclusions/VDXExclusion.h"

#include <QString>

#include <string_view>

namespace brindle {

/// "Address", "Block", "Port"; any other type as it is stored.
QString typeText(const VDXExclusion& exclusion);

/// "IPv4" or "IPv6"; "any" for a port, which is hidden in both families.
QString familyText(const VDXExclusion& exclusion);

/// One sentence: what the entry is, the first and last address of a block, and, where it applies,
/// why the entry would not hide what its author may expect.
QString describe(const VDXExclusion& exclusion);

/// describe() of what Add would make of a text; empty when it would make nothing.
QString previewText(std::string_view text);

} // namespace brindle
