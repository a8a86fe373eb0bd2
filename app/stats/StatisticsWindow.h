// SPDX-License-Identifier: BSD-2-Clause
//
// Makes the statistics windows for the composition root, which hands the maker to the windows as
// AppContext::makeStatisticsWindow. Main thread.
//
//     context.makeStatisticsWindow = [&](StatisticsOpening opening) {
//         return makeStatisticsWindow(context, std::move(opening));
//     };
#pragma once

#include "app/AppContext.h"

#include <memory>

namespace brindle {

/// The window shows at once; the caller registers it under the opening's name, where it stays,
/// closed or not. Null without the kind of what is inspected, "ip" or "port", in the information's
/// `obj`. The context outlives it.
std::shared_ptr<WindowController> makeStatisticsWindow(AppContext& context,
                                                       StatisticsOpening opening);

} // namespace brindle
