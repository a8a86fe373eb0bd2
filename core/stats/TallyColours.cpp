// SPDX-License-Identifier: BSD-2-Clause
#include "core/stats/TallyColours.h"

namespace brindle {

const std::map<int, TallyColour>& tallyColours() {
    static const std::map<int, TallyColour> colours{
        {0, {85, 85, 85}},     // dark grey
        {1, {255, 0, 0}},      // red
        {2, {255, 255, 0}},    // yellow
        {3, {0, 0, 255}},      // blue
        {4, {0, 255, 0}},      // green
        {5, {128, 0, 128}},    // purple
        {6, {255, 128, 0}},    // orange
        {7, {153, 102, 51}},   // brown
        {8, {0, 255, 255}},    // cyan
        {9, {255, 0, 255}},    // magenta
        {10, {170, 170, 170}}, // light grey
    };
    return colours;
}

} // namespace brindle
