// SPDX-License-Identifier: BSD-2-Clause
#include "app/logs/table/RowExport.h"

namespace brindle {
namespace {

void appendCell(std::string& text, std::string_view cell) {
    for (const char c : cell)
        text += c == '\t' || c == '\n' || c == '\r' ? ' ' : c;
}

/// `cellText`: the text of a column.
template <typename CellText>
void appendLine(std::string& text, CellText cellText) {
    if (!text.empty())
        text += '\n';
    for (const LogColumn column : allLogColumns()) {
        if (column != allLogColumns().front())
            text += '\t';
        appendCell(text, cellText(column));
    }
}

} // namespace

std::vector<std::string> addressesOfRows(const LogsArrayController& controller,
                                         std::span<const std::uint32_t> positions,
                                         AddressSide side) {
    const LogField field = side == AddressSide::source ? LogField::srcip : LogField::dstip;
    std::vector<std::string> addresses;
    addresses.reserve(positions.size());
    for (const std::uint32_t position : positions)
        if (position < controller.arrangedCount())
            addresses.push_back(controller.arrangedLog(position).text(field));
    return addresses;
}

std::string joinedLines(std::span<const std::string> lines) {
    std::string text;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        if (i > 0)
            text += '\n';
        text += lines[i];
    }
    return text;
}

std::string rowsAsText(const LogsArrayController& controller,
                       std::span<const std::uint32_t> positions, TitleLine titles) {
    std::string text;
    if (titles == TitleLine::with)
        appendLine(text, [](LogColumn column) {
            const LogColumnInfo& info = describe(column);
            return info.title.empty() ? std::string_view("Action") : info.title;
        });
    for (const std::uint32_t position : positions) {
        if (position >= controller.arrangedCount())
            continue;
        const VDXLog& log = controller.arrangedLog(position);
        appendLine(text, [&](LogColumn column) { return columnText(log, column); });
    }
    return text;
}

} // namespace brindle
