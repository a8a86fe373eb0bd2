// SPDX-License-Identifier: BSD-2-Clause
#include "app/tallies/FilterField.h"

namespace brindle {

FilterField::FilterField(QWidget* parent) : FilterLineEdit(14, 36, parent) {}

} // namespace brindle
