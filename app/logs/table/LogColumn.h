// SPDX-License-Identifier: BSD-2-Clause
//
// The columns of the logs table, written once for all who need them: the model, the copier, the
// sorter and the tests. Plain values; `columnText` reads rows and so is for the main thread.
//
//     for (LogColumn column : allLogColumns())
//         header += describe(column).title;
#pragma once

#include "core/log/VDXLog.h"
#include "core/log/records/PacketRecord.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace brindle {

/// In the order they stand in the table.
enum class LogColumn : std::uint8_t {
    actionDirection,
    date,
    user,
    rule,
    interface,
    source,
    sourcePort,
    destination,
    destinationPort,
    protocol,
    count
};
inline constexpr std::size_t kLogColumnCount = static_cast<std::size_t>(LogColumn::count);

enum class ColumnAlignment : std::uint8_t { left, center, right };

/// How the values of a column compare.
enum class SortKind : std::uint8_t {
    verdict, ///< blocked before passed, in before out
    time,    ///< the epoch, not its text
    text,    ///< digits by their value, letters without regard to case
    address, ///< IPv4, then IPv6, each by number; then names as texts
    port     ///< by number
};

struct LogColumnInfo {
    LogColumn column;
    std::string_view name;    ///< for settings and object names: "sourcePort"
    std::string_view title;   ///< UTF-8; empty over the pictures
    std::string_view toolTip; ///< says what the column holds
    LogField field;           ///< the field whose changes the column follows
    ColumnAlignment alignment;
    std::string_view sample; ///< a wide value: the column's width is measured from it
    bool picture;            ///< a picture stands before (or instead of) the text
    SortKind sort;
};

const LogColumnInfo& describe(LogColumn column);
const std::array<LogColumn, kLogColumnCount>& allLogColumns();

/// "Blocked in", "Passed out" …: what the picture of action and direction says.
std::string_view verdictText(Action action, Direction direction);
/// "443 https", or "443" where the service has no name.
std::string portLabel(std::string_view port, std::string_view service);

/// The text of a cell; for the picture column what the picture says. What is shown is what is found
/// by the filter and what is copied.
std::string columnText(const VDXLog& log, LogColumn column);
/// What the cell says beyond its text, in plain text; empty when there is nothing to add.
std::string columnToolTip(const VDXLog& log, LogColumn column);

} // namespace brindle
