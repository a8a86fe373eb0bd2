// SPDX-License-Identifier: BSD-2-Clause
#include "bench/works/Works.h"

#include "core/stats/TallyRows.h"

#include <memory>

namespace brindle::bench {

namespace {

constexpr std::size_t kRows = 4096;

std::vector<TallyRows::Row> rowsOf(const std::vector<std::string>& texts) {
    std::vector<TallyRows::Row> rows;
    for (const std::string& text : texts)
        rows.push_back(VisualizerObj::create({.isIP = true}, text, 1, nullptr));
    return rows;
}

} // namespace

std::vector<Work> tallyWorks() {
    const auto texts = std::make_shared<const std::vector<std::string>>(addressTexts(kRows));
    const auto list = std::make_shared<TallyRows>();
    list->replace(rowsOf(*texts));
    return {
        {"row of a tally, made and dropped", kRows,
         [texts] {
             TallyRows rows;
             rows.replace(rowsOf(*texts));
             return rows.size();
         }},
        {"row of a tally, found and counted up", kRows,
         [texts, list] {
             std::size_t sum = 0;
             for (const std::string& text : *texts) {
                 VisualizerObj& row = **list->find(text);
                 row.setValue(row.value() + 1);
                 sum += row.place();
             }
             return sum;
         }},
    };
}

} // namespace brindle::bench
