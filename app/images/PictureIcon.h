// SPDX-License-Identifier: BSD-2-Clause
//
// A picture of the store as an icon for buttons, menus and windows: drawn at the pixel ratio and in
// the palette of the moment it is painted. Main thread; the store outlives the icon.
//
//     button->setIcon(pictureIcon(store, "exclusions"));
#pragma once

#include <QIcon>
#include <QString>

namespace brindle {

class PictureStore;

/// The icon of a named resource; nothing is painted when there is none of that name.
QIcon pictureIcon(PictureStore& store, const QString& name);

} // namespace brindle
