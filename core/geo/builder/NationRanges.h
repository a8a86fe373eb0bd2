// SPDX-License-Identifier: BSD-2-Clause
//
// Makes the nation database from a published list of address ranges: text lines "first,last,CC",
// both bounds included, addresses as decimal numbers or dotted quads. Lines that start with "#" are
// the publisher's notes. Plain functions for the program makenations and its tests.
//
//     auto nations = readNationRanges(file);
//     if (nations) writeNationBlocks(*nations, out);
#pragma once

#include "core/net/IpRange.h"

#include <cstddef>
#include <istream>
#include <map>
#include <ostream>
#include <string>
#include <vector>

#include <tl/expected.hpp>

namespace brindle {

struct NationRanges {
    /// By database key, which is the code in lower case, as the flags are named.
    std::map<std::string, std::vector<Ipv4Range>> ranges;
    std::vector<std::string> notes;             ///< the publisher's, without the "#"
    std::map<std::string, std::size_t> leftOut; ///< lines by code that no nation has
};

/// Lines whose code is not in the table of nation names are left out, except UK, which is taken as
/// GB. Any other line that does not read as told is an error that names its number.
tl::expected<NationRanges, std::string> readNationRanges(std::istream& in);

/// The fewest blocks that together cover exactly the ranges, in ascending order.
std::vector<std::string> blocksOfRanges(std::vector<Ipv4Range> ranges);

/// The database as an XML property list; the notes become a comment, as the licence of the data
/// asks of those who pass it on. Returns how many blocks were written.
std::size_t writeNationBlocks(const NationRanges& nations, std::ostream& out);

} // namespace brindle
