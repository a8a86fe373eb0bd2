// SPDX-License-Identifier: BSD-2-Clause
//
// Paints a pie: the one routine for the chart in the window and for pictures and paper. Edges are
// anti-aliased and slices lie a little under each other, so that the background does not shine
// through between them. Main thread.
#pragma once

#include "app/stats/PieSlices.h"
#include "core/stats/TallyColours.h"

#include <QColor>
#include <QPainter>
#include <QPointF>

#include <cstddef>
#include <map>
#include <optional>

namespace brindle {

/// What a pie is painted with, besides its geometry.
struct PieLook {
    std::map<int, TallyColour> colours;     ///< by PieSlice::colour; grey where there is none
    QColor background;                      ///< what the pie is painted on
    QColor ink;                             ///< of outlines and of the mark
    std::optional<std::size_t> highlighted; ///< gets a mark along its rim
};

/// Room that the mark of a highlighted slice takes outside the rim, in points.
inline constexpr double kPieMarkRoom = 5;

QColor pieColour(const PieSlice& slice, const std::map<int, TallyColour>& colours);

void paintPie(QPainter& painter, QPointF centre, double radius, const PieSlices& pie,
              const PieLook& look);

} // namespace brindle
