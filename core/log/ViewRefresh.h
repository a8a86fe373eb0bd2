// SPDX-License-Identifier: BSD-2-Clause
//
// Brings the open views up to date after something changed that concerns them all. Main thread.
#pragma once

#include "core/log/BrindleHelper.h"
#include "core/log/Views.h"

namespace brindle {

/// The exclusion list has changed: the editor, a live logs view and the lists show what it lets
/// through now.
void refreshViews(const ViewControllers& views);

/// The daemon is back: live views go on, with what was logged meanwhile. A period stays as it is.
void showWhatWasMissed(const ViewControllers& views, BrindleHelper& helper);

} // namespace brindle
