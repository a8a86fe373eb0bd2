// SPDX-License-Identifier: BSD-2-Clause
//
// Where the daemon's own messages go: standard error, one line each. Set up by main before
// anything else speaks; afterwards every thread logs.
#pragma once

#include <string>

#include <sys/types.h>

namespace brindle::tallyd {

/// Whether a descriptor is the journal's stream that `journalStream`, the value of $JOURNAL_STREAM,
/// names ("device:inode"). It is inherited by programs whose output goes elsewhere by now.
bool isJournalStream(int descriptor, const char* journalStream);

/// Lines for the journal begin with their priority, which it takes away ("<3>store: ..."); others
/// with the program's name.
enum class LogLines { journal, plain };

/// Makes the process's log for standard error: whichever lines suit what that is.
LogLines setUpLogging();

/// What a line of an error begins with.
std::string errorPrefix(LogLines lines);

} // namespace brindle::tallyd
