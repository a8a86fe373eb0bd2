// SPDX-License-Identifier: BSD-2-Clause
//
// Makes the window controllers of the four address and port lists for the composition root, which
// hands the maker to the windows as AppContext::makeListWindow. Main thread.
//
//     context.makeListWindow = [&](const ListOpening& opening) {
//         return makeListWindow(context, opening);
//     };
#pragma once

#include "app/AppContext.h"

#include <memory>

namespace brindle {

/// The caller registers it under the opening's name and presents it; when its window closes it
/// takes itself from there. The context outlives it.
std::shared_ptr<WindowController> makeListWindow(AppContext& context, const ListOpening& opening);

} // namespace brindle
