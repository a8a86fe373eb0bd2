// SPDX-License-Identifier: BSD-2-Clause
//
// Where the application's named pictures are: its own drawings, and the flags of nations under
// their two-letter codes in either letter case. Any thread.
#pragma once

#include <QString>

namespace brindle {

struct PictureResource {
    enum class Kind {
        drawing, ///< ours: coloured to suit the palette
        flag,    ///< shown in its own colours, and at kFlagWidth by kFlagHeight points
    };
    QString path; ///< of an SVG source; empty when there is none of that name
    Kind kind = Kind::drawing;
};

inline constexpr int kFlagWidth = 64;
inline constexpr int kFlagHeight = 48;

PictureResource pictureResource(const QString& name);

} // namespace brindle
