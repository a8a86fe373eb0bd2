// SPDX-License-Identifier: BSD-2-Clause
//
// The table class of the statistics windows; it behaves as VDXTableView does. Main thread.
#pragma once

#include "app/tallies/TallyTable.h"

namespace brindle {

class VDXTablesTableView final : public TallyTable {
    Q_OBJECT
  public:
    explicit VDXTablesTableView(QWidget* parent = nullptr);
};

} // namespace brindle
