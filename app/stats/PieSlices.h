// SPDX-License-Identifier: BSD-2-Clause
//
// The geometry of a pie chart: which sector stands for which entries. The first ten entries get a
// sector and a colour each, all that follow share the remainder. Angles are degrees, 0 to the right
// and growing counter-clockwise, y upwards. Plain values; any thread.
//
//     const PieSlices pie(std::array<std::int64_t, 2>{3, 1});     // 0 to 270 and 270 to 360
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace brindle {

struct PieSlice {
    /// Of the remainder, and of the one slice of a pie without any value.
    static constexpr int kRemainderColour = 0;

    double start = 0;
    double end = 0;             ///< not before start; equal for an entry without a value
    int colour = 0;             ///< key of the chart's colours
    std::size_t firstEntry = 0; ///< place in the data
    std::size_t entries = 0;    ///< how many it stands for, from firstEntry on
    std::int64_t value = 0;     ///< their sum
    friend bool operator==(const PieSlice&, const PieSlice&) = default;
};

class PieSlices {
  public:
    static constexpr std::size_t kColouredSlices = 10;

    PieSlices() : PieSlices(std::span<const std::int64_t>()) {}
    /// `info`: values in the order they are drawn. Negative ones count as 0. When all add up to 0
    /// there is one slice of the remainder's colour, the whole disc.
    explicit PieSlices(std::span<const std::int64_t> info);

    const std::vector<PieSlice>& slices() const { return slices_; }
    /// Of all entries; as large as fits when there is more.
    std::int64_t total() const { return total_; }
    /// 0 to 1; 0 for a pie without any value.
    double share(std::size_t slice) const;

    /// The slice that stands for an entry; nothing when the pie has none for it.
    std::optional<std::size_t> sliceOf(std::size_t entry) const;
    /// The slice under the point that lies so far to the right of the centre and above it; nothing
    /// outside the disc.
    std::optional<std::size_t> sliceAt(double right, double above, double radius) const;

  private:
    std::vector<PieSlice> slices_;
    std::int64_t total_ = 0;
};

} // namespace brindle
