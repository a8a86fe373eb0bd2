// SPDX-License-Identifier: BSD-2-Clause
#include "app/stats/PieSlices.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

namespace brindle {
namespace {

constexpr double kFullCircle = 360;

std::int64_t counted(std::int64_t value) {
    return std::max<std::int64_t>(0, value);
}

/// Of what is not negative.
std::int64_t saturatingSum(std::span<const std::int64_t> values) {
    constexpr std::int64_t largest = std::numeric_limits<std::int64_t>::max();
    std::int64_t sum = 0;
    for (const std::int64_t value : values)
        sum = counted(value) > largest - sum ? largest : sum + counted(value);
    return sum;
}

} // namespace

PieSlices::PieSlices(std::span<const std::int64_t> info) : total_(saturatingSum(info)) {
    if (total_ == 0) {
        slices_.push_back({.end = kFullCircle, .entries = info.size()});
        return;
    }
    double total = 0;
    for (const std::int64_t value : info)
        total += static_cast<double>(counted(value));

    const std::size_t coloured = std::min(info.size(), kColouredSlices);
    // Angles come from running sums: the last slice ends at the full circle, without a gap that
    // rounding would leave.
    double sum = 0;
    double angle = 0;
    for (std::size_t i = 0; i < coloured; ++i) {
        sum += static_cast<double>(counted(info[i]));
        const double end = std::min(kFullCircle, kFullCircle * sum / total);
        slices_.push_back({.start = angle,
                           .end = end,
                           .colour = static_cast<int>(i) + 1,
                           .firstEntry = i,
                           .entries = 1,
                           .value = counted(info[i])});
        angle = end;
    }
    if (coloured == info.size())
        return;
    const std::int64_t rest = saturatingSum(info.subspan(coloured));
    slices_.push_back({.start = angle,
                       .end = rest > 0 ? kFullCircle : angle,
                       .colour = PieSlice::kRemainderColour,
                       .firstEntry = coloured,
                       .entries = info.size() - coloured,
                       .value = rest});
}

double PieSlices::share(std::size_t slice) const {
    return total_ == 0 ? 0
                       : static_cast<double>(slices_[slice].value) / static_cast<double>(total_);
}

std::optional<std::size_t> PieSlices::sliceOf(std::size_t entry) const {
    for (std::size_t i = 0; i < slices_.size(); ++i)
        if (entry >= slices_[i].firstEntry && entry - slices_[i].firstEntry < slices_[i].entries)
            return i;
    return std::nullopt;
}

std::optional<std::size_t> PieSlices::sliceAt(double right, double above, double radius) const {
    if (!(std::hypot(right, above) <= radius))
        return std::nullopt;
    double angle = std::atan2(above, right) * kFullCircle / (2 * std::numbers::pi);
    if (angle < 0)
        angle += kFullCircle;
    if (angle >= kFullCircle) // just below the first ray, rounded
        angle = 0;
    const auto found = std::ranges::find_if(slices_, [angle](const PieSlice& slice) {
        return slice.start <= angle && angle < slice.end;
    });
    return found == slices_.end() ? std::nullopt
                                  : std::optional<std::size_t>(found - slices_.begin());
}

} // namespace brindle
