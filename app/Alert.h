// SPDX-License-Identifier: BSD-2-Clause
//
// A modal alert: what happened, what it means, one button. Texts are shown as they are, never as
// markup. Main thread; returns when it was dismissed.
#pragma once

#include <QImage>
#include <QString>

namespace brindle {

struct Alert {
    QString messageText;
    QString informativeText;
    QImage icon; ///< a null image: the alert has none
};

void runModal(const Alert& alert);

} // namespace brindle
