// SPDX-License-Identifier: BSD-2-Clause
#include "app/stats/PiePainter.h"

#include <QPainterPath>
#include <QPen>

#include <algorithm>
#include <cmath>

namespace brindle {
namespace {

constexpr double kFullCircle = 360;
constexpr double kLeastContrast = 2.2; ///< of a slice that needs no outline
constexpr int kOutlineAlpha = 110;
constexpr double kMarkWidth = 2.5;
constexpr double kMarkGap = 1.5;
constexpr double kLeastMark = 5; ///< degrees

QColor toQColor(TallyColour colour) {
    return {colour.red, colour.green, colour.blue};
}

double luminance(const QColor& colour) {
    const auto linear = [](double part) {
        return part <= 0.04045 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(colour.redF()) + 0.7152 * linear(colour.greenF()) +
           0.0722 * linear(colour.blueF());
}

double contrast(const QColor& a, const QColor& b) {
    const double first = luminance(a) + 0.05;
    const double second = luminance(b) + 0.05;
    return std::max(first, second) / std::min(first, second);
}

QRectF discAround(QPointF centre, double radius) {
    return {centre.x() - radius, centre.y() - radius, 2 * radius, 2 * radius};
}

void fillSector(QPainter& painter, QPointF centre, double radius, double start, double end,
                const QColor& colour) {
    QPainterPath path;
    if (end - start >= kFullCircle) {
        path.addEllipse(centre, radius, radius);
    } else {
        path.moveTo(centre);
        path.arcTo(discAround(centre, radius), start, end - start);
        path.closeSubpath();
    }
    painter.fillPath(path, colour);
}

void strokeArc(QPainter& painter, QPointF centre, double radius, const PieSlice& slice,
               const QPen& pen) {
    const double sweep = std::max(kLeastMark, slice.end - slice.start);
    const double start = (slice.start + slice.end - sweep) / 2;
    QPainterPath path;
    path.arcMoveTo(discAround(centre, radius), start);
    path.arcTo(discAround(centre, radius), start, sweep);
    painter.strokePath(path, pen);
}

bool isDrawn(const PieSlice& slice) {
    return slice.end > slice.start;
}

} // namespace

QColor pieColour(const PieSlice& slice, const std::map<int, TallyColour>& colours) {
    if (slice.colour == PieSlice::kRemainderColour)
        return toQColor(tallyColours().at(PieSlice::kRemainderColour));
    const auto found = colours.find(slice.colour);
    return found == colours.end() ? QColor(128, 128, 128) : toQColor(found->second);
}

void paintPie(QPainter& painter, QPointF centre, double radius, const PieSlices& pie,
              const PieLook& look) {
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    bool needsOutline = false;
    bool isWholeDisc = true;
    // From the last to the first: each covers what the one after it reaches below it, and the last
    // one is below them all.
    for (auto slice = pie.slices().rbegin(); slice != pie.slices().rend(); ++slice) {
        if (!isDrawn(*slice))
            continue;
        const QColor colour = pieColour(*slice, look.colours);
        fillSector(painter, centre, radius, isWholeDisc ? 0 : slice->start / 2,
                   isWholeDisc ? kFullCircle : slice->end, colour);
        needsOutline = needsOutline || contrast(colour, look.background) < kLeastContrast;
        isWholeDisc = false;
    }
    if (needsOutline) {
        QColor outline = look.ink;
        outline.setAlpha(kOutlineAlpha);
        painter.setPen(QPen(outline, 1));
        painter.setBrush(Qt::NoBrush);
        painter.drawEllipse(centre, radius - 0.5, radius - 0.5);
    }
    if (look.highlighted && *look.highlighted < pie.slices().size()) {
        strokeArc(painter, centre, radius + kMarkGap + kMarkWidth / 2,
                  pie.slices()[*look.highlighted],
                  QPen(look.ink, kMarkWidth, Qt::SolidLine, Qt::FlatCap));
    }
    painter.restore();
}

} // namespace brindle
