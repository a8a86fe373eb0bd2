// SPDX-License-Identifier: BSD-2-Clause
//
// The keys of many rows as 64-bit numbers: numbers and IPv4 addresses stand for themselves, all
// else for its rank among the distinct keys, which is known once all are there. Sorting a million
// rows is then sorting numbers. Used by one thread.
//
//     keys.add(order, keys.codeOfAddress("192.0.2.1"));
//     auto orders = keys.sorted(SortDirection::ascending, abandoned);
#pragma once

#include "app/logs/table/SortOrder.h"

#include <atomic>
#include <cstdint>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace brindle {

class RankedKeys {
  public:
    /// No code of a text or an address.
    static constexpr std::uint64_t kNoCode = ~std::uint64_t{0};

    void reserve(std::size_t rows) { rows_.reserve(rows); }

    std::uint64_t code(SortKey key);
    /// The text stays where it is until the rows are sorted.
    std::uint64_t codeOfText(std::string_view text);
    std::uint64_t codeOfAddress(std::string_view text);

    /// `order`: the row's number in insertion order, which breaks ties.
    void add(std::uint32_t order, std::uint64_t code) { rows_.push_back({code, order}); }

    /// The orders of the rows, sorted by key. Uses the keys up. Nothing once `abandoned` was set.
    std::optional<std::vector<std::uint32_t>> sorted(SortDirection direction,
                                                     const std::atomic<bool>& abandoned);

    struct Row {
        std::uint64_t code;
        std::uint32_t order;
    };

  private:
    /// Codes of ranked keys have this bit; of times it is part of the number, but times have no
    /// ranked keys beside them.
    static constexpr std::uint64_t kRanked = std::uint64_t{1} << 63;

    void replaceByRanks();

    std::vector<Row> rows_;
    std::vector<SortKey> ranked_;
    std::unordered_map<std::string_view, std::uint64_t> codes_; ///< of texts seen
};

} // namespace brindle
