// SPDX-License-Identifier: BSD-2-Clause
//
// A look at a binary property list before the library parses it: the library recurses once a level
// without a limit, copies what is referred to several times until memory is used up, and ends the
// process at a key with a NUL character in it. Pure; any thread.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace brindle::platform {

/// Why the list must not be handed to the library, as a sentence; nothing when it may. Finds these
/// faults only: the library has its own checks for all others. `maxDepth`: containers within
/// containers.
std::optional<std::string_view> binaryListFault(std::string_view bytes, std::size_t maxDepth);

} // namespace brindle::platform
