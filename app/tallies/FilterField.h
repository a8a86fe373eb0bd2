// SPDX-License-Identifier: BSD-2-Clause
//
// The field over a tally table in which its filter is typed: a magnifier, a button to clear it,
// and the keys that lead on into the table. Main thread.
#pragma once

#include "app/FilterLineEdit.h"

namespace brindle {

class FilterField final : public FilterLineEdit {
    Q_OBJECT
  public:
    explicit FilterField(QWidget* parent = nullptr);
};

} // namespace brindle
