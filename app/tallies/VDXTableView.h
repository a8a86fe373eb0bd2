// SPDX-License-Identifier: BSD-2-Clause
//
// The table class of the list windows. Main thread.
#pragma once

#include "app/tallies/TallyTable.h"

namespace brindle {

class VDXTableView final : public TallyTable {
    Q_OBJECT
  public:
    explicit VDXTableView(QWidget* parent = nullptr);
};

} // namespace brindle
