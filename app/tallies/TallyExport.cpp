// SPDX-License-Identifier: BSD-2-Clause
#include "app/tallies/TallyExport.h"

#include <string_view>

#include <fmt/format.h>

namespace brindle {
namespace {

constexpr std::string_view kFormulaStarts = "=+-@\t\r";

void appendCell(std::string& line, std::string text) {
    line += ',';
    if (!text.empty() && kFormulaStarts.find(text.front()) != std::string_view::npos)
        text.insert(text.begin(), '\'');
    if (text.find_first_of(",\"\r\n") == std::string::npos) {
        line += text;
        return;
    }
    line += '"';
    for (const char c : text) {
        if (c == '"')
            line += '"';
        line += c;
    }
    line += '"';
}

/// Line `row`, or the titles when there is none.
std::string csvLine(const VisualizerObj* row, std::span<const TallyColumn> columns,
                    std::int64_t total) {
    std::string line;
    const auto cell = [&](std::string_view title, auto text) {
        appendCell(line, row == nullptr ? std::string(title) : text(*row));
    };
    for (const TallyColumn column : columns) {
        const std::string_view title = describe(column).title;
        switch (column) {
        case TallyColumn::legend:
            break;
        case TallyColumn::address:
            cell(title, [](const VisualizerObj& counted) { return counted.originallabel(); });
            cell("Host Name", [](const VisualizerObj& counted) {
                return counted.label() == counted.originallabel() ? std::string() : counted.label();
            });
            break;
        case TallyColumn::records:
            cell(title,
                 [](const VisualizerObj& counted) { return std::to_string(counted.value()); });
            break;
        case TallyColumn::share:
            cell("Share in %", [total](const VisualizerObj& counted) {
                return total > 0
                           ? fmt::format("{:.4f}", 100.0 * static_cast<double>(counted.value()) /
                                                       static_cast<double>(total))
                           : std::string("0");
            });
            break;
        default:
            cell(title, [column, total](const VisualizerObj& counted) {
                return columnText(counted, column, total);
            });
        }
    }
    line.erase(0, 1); // every cell came with a comma before it
    return line + "\r\n";
}

} // namespace

std::string tallyCsv(const TallyArrayController& controller, std::span<const TallyColumn> columns) {
    std::string csv = csvLine(nullptr, columns, 0);
    for (std::size_t position = 0; position < controller.arrangedCount(); ++position)
        csv += csvLine(controller.arrangedRow(position).get(), columns, controller.total());
    return csv;
}

} // namespace brindle
