// SPDX-License-Identifier: BSD-2-Clause
#include "app/tallies/VDXTableView.h"

namespace brindle {

VDXTableView::VDXTableView(QWidget* parent) : TallyTable(parent) {}

} // namespace brindle
