// SPDX-License-Identifier: BSD-2-Clause
//
// The colours of tally rows and of the slices of their pie: one process-wide map, the same for the
// legend of a table and for the chart beside it. Constants; any thread.
//
//     const TallyColour colour = tallyColours().at(index + 1);      // the row's or slice's
#pragma once

#include <cstdint>
#include <map>

namespace brindle {

/// An opaque colour, sRGB.
struct TallyColour {
    std::uint8_t red = 0;
    std::uint8_t green = 0;
    std::uint8_t blue = 0;

    friend bool operator==(const TallyColour&, const TallyColour&) = default;
};

/// Key 0 is dark grey, for everything that has no colour of its own; 1 to 10 are the colours of the
/// largest, the second largest and so on.
const std::map<int, TallyColour>& tallyColours();

} // namespace brindle
