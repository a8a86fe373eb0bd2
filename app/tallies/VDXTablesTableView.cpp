// SPDX-License-Identifier: BSD-2-Clause
#include "app/tallies/VDXTablesTableView.h"

namespace brindle {

VDXTablesTableView::VDXTablesTableView(QWidget* parent) : TallyTable(parent) {}

} // namespace brindle
