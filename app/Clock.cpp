// SPDX-License-Identifier: BSD-2-Clause
#include "app/Clock.h"

#include <QDateTime>

namespace brindle {

double epochNow() {
    return static_cast<double>(QDateTime::currentMSecsSinceEpoch()) / 1000.0;
}

double startOfToday() {
    return static_cast<double>(QDate::currentDate().startOfDay().toSecsSinceEpoch());
}

} // namespace brindle
