// SPDX-License-Identifier: BSD-2-Clause
//
// The filter of a tally table: terms parted by spaces, all of which must hold. A word is found in
// any text of the row, in either letter case; a block ("198.51.100.0/24", "2001:db8::/32") holds
// for the addresses within it, a range ("1000-2000") for the ports within it; "-" in front negates.
// What is no block and no range is a word. A value; main thread.
//
//     const TallyFilter filter("198.51.100.0/24 -lan");
#pragma once

#include "core/net/IpRange.h"
#include "core/stats/VisualizerObj.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace brindle {

class TallyFilter {
  public:
    /// Every row passes.
    TallyFilter() = default;
    explicit TallyFilter(std::string_view text);

    bool empty() const { return terms_.empty(); }
    bool matches(const VisualizerObj& row) const;

  private:
    struct Ports {
        std::int64_t first = 0;
        std::int64_t last = 0;
    };
    struct Term {
        bool negated = false;
        std::string word; ///< in lower case
        std::optional<Ipv4Range> ipv4;
        std::optional<Ipv6Range> ipv6;
        std::optional<Ports> ports;
    };

    static Term parse(std::string_view text);
    static bool holds(const Term& term, const VisualizerObj& row);

    std::vector<Term> terms_;
};

} // namespace brindle
