// SPDX-License-Identifier: BSD-2-Clause
//
// Where the table's model gets the pictures of its cells from. Implemented by the logs window,
// which knows the pictures, the palette and the screen. Main thread.
#pragma once

#include "core/log/records/Picture.h"

#include <QIcon>

namespace brindle {

class PictureSource {
  public:
    virtual ~PictureSource() = default;
    /// Asked for each painted cell, so it answers at once: from a cache, or with a null icon while
    /// the picture is being made (LogsTableModel::picturesChanged() tells when it can be had).
    virtual QIcon forPicture(const Picture& picture) = 0;
};

} // namespace brindle
