// SPDX-License-Identifier: BSD-2-Clause
#include "app/exclusions/ExclusionsWindow.h"

#include "app/exclusions/VDXExclusionsWindowController.h"

namespace brindle {

std::shared_ptr<WindowController> makeExclusionsWindow(AppContext& context,
                                                       ExclusionList& exclusions) {
    return std::make_shared<VDXExclusionsWindowController>(context, exclusions);
}

} // namespace brindle
