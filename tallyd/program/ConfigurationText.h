// SPDX-License-Identifier: BSD-2-Clause
//
// A look at the configuration file's text before the library parses it: that recurses without a
// limit and ends the process where the stack does. Pure; any thread.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace brindle::tallyd {

/// The number of the first line on which brackets stand within each other, or a dotted key has
/// parts, beyond any that the configuration knows. Nothing when there is none. Texts in quotes and
/// comments count for nothing.
std::optional<std::size_t> firstLineTooDeep(std::string_view text);

} // namespace brindle::tallyd
