// SPDX-License-Identifier: BSD-2-Clause
//
// The directions between the folders, as tables, and the check of a source tree against them.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace brindle::structure {

/// One line for each break of a rule, "core/net/A.cpp:3: ...", in order. `root` holds the project's
/// folders; what is not C++ and not in one of them is not read.
std::vector<std::string> violations(const std::filesystem::path& root);

} // namespace brindle::structure
