// SPDX-License-Identifier: BSD-2-Clause
//
// Makes the exclusions editor's window controller for the composition root, which hands it to the
// windows as AppContext::makeExclusionsWindow. Main thread.
//
//     context.makeExclusionsWindow = [&] { return makeExclusionsWindow(context, exclusions); };
#pragma once

#include "app/AppContext.h"
#include "core/exclusions/ExclusionList.h"

#include <memory>

namespace brindle {

/// The caller registers it under "exclusionsWindow" and presents it; it lives until it is taken
/// from there, closed or not. Both outlive it.
std::shared_ptr<WindowController> makeExclusionsWindow(AppContext& context,
                                                       ExclusionList& exclusions);

} // namespace brindle
