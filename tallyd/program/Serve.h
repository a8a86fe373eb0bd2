// SPDX-License-Identifier: BSD-2-Clause
//
// `tallyd serve`: puts store, intake, sources and server together, and takes them apart again when
// the process is asked to end. Runs on the main thread, which does nothing else meanwhile.
#pragma once

#include "tallyd/program/Options.h"

namespace brindle::tallyd {

/// Makes the signals that the daemon is led by wait for `serve`. To be called before any thread
/// starts.
void holdSignals();

/// Prints "ready" on standard output once requests are answered, and returns after SIGTERM or
/// SIGINT, with everything accepted stored. SIGHUP has the configuration file read again; one with
/// a mistake changes nothing. The exit status: 0, or 1 with one line on standard error.
int serve(ServeOptions options);

} // namespace brindle::tallyd
