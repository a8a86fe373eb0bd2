// SPDX-License-Identifier: BSD-2-Clause
#include "app/lists/ListWindow.h"

#include "app/lists/VDXAddressesPortsListWindowsController.h"

namespace brindle {

std::shared_ptr<WindowController> makeListWindow(AppContext& context, const ListOpening& opening) {
    return std::make_shared<VDXAddressesPortsListWindowsController>(context, opening);
}

} // namespace brindle
