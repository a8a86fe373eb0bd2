// SPDX-License-Identifier: BSD-2-Clause
//
// `tallyd serve`: puts store, intake, sources and server together, and takes them apart again when
// the process is asked to end. Runs on the main thread, which does nothing else meanwhile.
#pragma once

#include "tallyd/program/Options.h"

namespace brindle::tallyd {

/// Makes the signals that end the daemon wait for `serve`. To be called before any thread starts.
void holdEndingSignals();

/// Prints "ready" on standard output once requests are answered, and returns after SIGTERM or
/// SIGINT, with everything accepted stored. The exit status: 0, or 1 with one line on standard
/// error.
int serve(const ServeOptions& options);

} // namespace brindle::tallyd
