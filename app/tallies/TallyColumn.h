// SPDX-License-Identifier: BSD-2-Clause
//
// The columns of tally tables, written once for all who need them: the model, the delegate, the
// sorter, the exporter and the tests. A table shows some of them, in an order of its own. Plain
// values; what reads rows is for the main thread.
//
//     for (TallyColumn column : tallyColumns(TallyTableKind::listedPorts))
//         header += describe(column).title;
#pragma once

#include "core/stats/VisualizerObj.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace brindle {

enum class TallyColumn : std::uint8_t {
    legend,  ///< the row's colour in the pie chart
    nation,  ///< flag and code
    address, ///< host name once it is known
    port,
    service,
    records, ///< how often it was counted
    share,   ///< of the list's total
    count
};
inline constexpr std::size_t kTallyColumnCount = static_cast<std::size_t>(TallyColumn::count);

enum class TallyAlignment : std::uint8_t { left, center, right };

struct TallyColumnInfo {
    TallyColumn column;
    std::string_view name;    ///< for object names: "records"
    std::string_view title;   ///< UTF-8; empty over the legend
    std::string_view toolTip; ///< says what the column holds
    TallyAlignment alignment;
    std::string_view sample; ///< a wide value: the column's width is measured from it
    /// Takes the room a wide table leaves, and gives some in a narrow one.
    bool elastic;
    /// A first click on the title puts the largest value on top.
    bool largestFirst;
};

const TallyColumnInfo& describe(TallyColumn column);

/// The tables there are: the two of a list window, and what a statistics window lists of the port
/// or address it is about.
enum class TallyTableKind : std::uint8_t {
    listedAddresses,
    listedPorts,
    addressesOfPort,
    portsOfAddress
};
std::span<const TallyColumn> tallyColumns(TallyTableKind kind);

/// `fraction` of 1 as "12.3 %"; what is not nothing is never shown as nothing.
std::string shareText(double fraction);

/// The text of a cell. `total`: sum of the list's values, for the share.
std::string columnText(const VisualizerObj& row, TallyColumn column, std::int64_t total);
/// What the cell says beyond its text; empty when there is nothing to add.
std::string columnToolTip(const VisualizerObj& row, TallyColumn column, std::int64_t total);

/// "1,234,567".
std::string groupedNumber(std::int64_t number);

} // namespace brindle
