// SPDX-License-Identifier: BSD-2-Clause
#include "app/logs/table/RankedKeys.h"

#include "core/net/IpRange.h"

#include <algorithm>
#include <array>
#include <numeric>
#include <utility>

namespace brindle {
namespace {

/// Sorts by code, equal codes as they stand: byte by byte from the lowest, over the bytes in which
/// codes differ at all.
bool sortByCode(std::vector<RankedKeys::Row>& rows, const std::atomic<bool>& abandoned) {
    using Row = RankedKeys::Row;
    if (rows.empty() || std::ranges::is_sorted(rows, {}, &Row::code))
        return true;
    const auto [least, greatest] = std::ranges::minmax(rows, {}, &Row::code);
    const std::uint64_t base = least.code;
    const std::uint64_t range = greatest.code - base;
    std::vector<Row> other(rows.size());
    for (unsigned shift = 0; shift < 64 && range >> shift != 0; shift += 8) {
        if (abandoned)
            return false;
        const auto digit = [base, shift](const Row& row) {
            return static_cast<std::size_t>((row.code - base) >> shift & 0xFF);
        };
        std::array<std::size_t, 256> starts{};
        for (const Row& row : rows)
            ++starts[digit(row)];
        std::size_t start = 0;
        for (std::size_t& count : starts)
            start += std::exchange(count, start);
        for (const Row& row : rows)
            other[starts[digit(row)]++] = row;
        rows.swap(other);
    }
    return true;
}

} // namespace

std::uint64_t RankedKeys::code(SortKey key) {
    if (key.kind == SortKey::Kind::number)
        return key.low;
    ranked_.push_back(std::move(key));
    return kRanked | (ranked_.size() - 1);
}

std::uint64_t RankedKeys::codeOfText(std::string_view text) {
    const auto [known, isNew] = codes_.try_emplace(text, 0);
    if (isNew)
        known->second = code(sortKeyOfText(text));
    return known->second;
}

std::uint64_t RankedKeys::codeOfAddress(std::string_view text) {
    if (const auto quad = canonicalQuad(text))
        return *quad;
    const auto [known, isNew] = codes_.try_emplace(text, 0);
    if (isNew)
        known->second = code(sortKeyOfAddress(text));
    return known->second;
}

void RankedKeys::replaceByRanks() {
    if (ranked_.empty())
        return;
    std::vector<std::uint32_t> sorted(ranked_.size());
    std::iota(sorted.begin(), sorted.end(), 0u);
    std::ranges::sort(sorted, {}, [this](std::uint32_t i) -> const SortKey& { return ranked_[i]; });
    std::vector<std::uint32_t> ranks(ranked_.size());
    for (std::size_t i = 0; i < sorted.size(); ++i)
        ranks[sorted[i]] = i > 0 && ranked_[sorted[i]] == ranked_[sorted[i - 1]]
                               ? ranks[sorted[i - 1]]
                               : static_cast<std::uint32_t>(i);
    for (Row& row : rows_)
        if (row.code & kRanked)
            row.code = kRanked | ranks[row.code & ~kRanked];
}

std::optional<std::vector<std::uint32_t>> RankedKeys::sorted(SortDirection direction,
                                                             const std::atomic<bool>& abandoned) {
    if (abandoned)
        return std::nullopt;
    // Rows that were judged beforehand come before the rest of their run.
    if (!std::ranges::is_sorted(rows_, {}, &Row::order))
        std::ranges::sort(rows_, {}, &Row::order);
    replaceByRanks();
    if (direction == SortDirection::descending)
        for (Row& row : rows_)
            row.code = ~row.code;
    if (!sortByCode(rows_, abandoned))
        return std::nullopt;
    std::vector<std::uint32_t> orders;
    orders.reserve(rows_.size());
    for (const Row& row : rows_)
        orders.push_back(row.order);
    return orders;
}

} // namespace brindle
