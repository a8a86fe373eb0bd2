// SPDX-License-Identifier: BSD-2-Clause
//
// Leaves the process the system calls that the daemon uses. Called by tallyd's main while the
// process has one thread, when everything else of its rights is given up.
#pragma once

#include <string>

#include <tl/expected.hpp>

namespace brindle::tallyd {

/// For good, and for every thread and program started from now on: other calls fail with EPERM, as
/// do programs, other kinds of sockets, new namespaces and memory that is both written and run.
/// Error: one line; nothing is restricted then.
tl::expected<void, std::string> restrictSystemCalls();

} // namespace brindle::tallyd
