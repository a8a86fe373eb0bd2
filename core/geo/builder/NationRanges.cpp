// SPDX-License-Identifier: BSD-2-Clause
#include "core/geo/builder/NationRanges.h"

#include "core/geo/NationNames.h"
#include "core/net/DecimalText.h"
#include "core/net/NWKIPTools.h"

#include <algorithm>
#include <bit>
#include <cctype>
#include <cstdint>
#include <optional>
#include <string_view>

namespace brindle {
namespace {

std::optional<std::uint32_t> addressNumber(std::string_view text) {
    if (const auto quad = canonicalQuad(text))
        return quad;
    const auto number = decimalInteger(text);
    return number && *number >= 0 && *number <= 0xFFFFFFFF
               ? std::optional(static_cast<std::uint32_t>(*number))
               : std::nullopt;
}

std::string lowerCase(std::string_view text) {
    std::string lower(text);
    for (char& c : lower)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return lower;
}

/// Sorted, and joined where they overlap or touch.
std::vector<Ipv4Range> joined(std::vector<Ipv4Range> ranges) {
    std::ranges::sort(ranges, {}, &Ipv4Range::first);
    std::vector<Ipv4Range> result;
    for (const Ipv4Range& range : ranges) {
        // In 64 bits, so that a range up to the last address touches nothing behind it.
        if (!result.empty() && range.first <= std::uint64_t{result.back().last} + 1)
            result.back().last = std::max(result.back().last, range.last);
        else
            result.push_back(range);
    }
    return result;
}

/// A comment ends at the first "--".
std::string commentText(std::string note) {
    for (std::size_t place; (place = note.find("--")) != note.npos;)
        note.replace(place, 2, "- -");
    return note;
}

} // namespace

tl::expected<NationRanges, std::string> readNationRanges(std::istream& in) {
    NationRanges nations;
    std::string line;
    for (std::size_t number = 1; std::getline(in, line); ++number) {
        if (line.ends_with('\r'))
            line.pop_back();
        if (line.empty())
            continue;
        if (line.starts_with('#')) {
            nations.notes.push_back(line.substr(1));
            continue;
        }
        const std::string_view text = line;
        const auto comma = text.find(',');
        const auto second = comma == text.npos ? comma : text.find(',', comma + 1);
        const auto first = addressNumber(text.substr(0, comma));
        const auto last = second == text.npos
                              ? std::nullopt
                              : addressNumber(text.substr(comma + 1, second - comma - 1));
        if (!first || !last || *first > *last)
            return tl::unexpected("line " + std::to_string(number) +
                                  " is not \"first,last,code\": " + line);
        std::string code = lowerCase(text.substr(second + 1));
        if (code == "uk") // reserved for the nation whose code is GB
            code = "gb";
        if (nationName(code))
            nations.ranges[code].push_back({*first, *last});
        else
            ++nations.leftOut[code];
    }
    return nations;
}

std::vector<std::string> blocksOfRanges(std::vector<Ipv4Range> ranges) {
    std::vector<std::string> blocks;
    for (const auto& [first, last] : joined(std::move(ranges))) {
        for (std::uint64_t next = first; next <= last;) {
            // As large as the start's alignment and the rest of the range allow.
            const int aligned = next == 0 ? 32 : std::countr_zero(next);
            const int fitting = static_cast<int>(std::bit_width(last - next + 1)) - 1;
            const int hostBits = std::min({aligned, fitting, 32});
            blocks.push_back(ipv4StringFromNumber(static_cast<std::uint32_t>(next)) + "/" +
                             std::to_string(32 - hostBits));
            next += std::uint64_t{1} << hostBits;
        }
    }
    return blocks;
}

std::size_t writeNationBlocks(const NationRanges& nations, std::ostream& out) {
    out << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
           "<!--\n"
           " Address blocks by nation, made by makenations: ranges of each nation joined and cut\n"
           " into blocks, ranges without a nation left out. The notes of the data it was made "
           "from,\n"
           " whose licence holds for this file too:\n";
    for (const std::string& note : nations.notes)
        out << commentText(note) << '\n';
    out << "-->\n<plist version=\"1.0\">\n<dict>\n";
    std::size_t count = 0;
    for (const auto& [key, ranges] : nations.ranges) {
        out << "\t<key>" << key << "</key>\n\t<array>\n";
        for (const std::string& block : blocksOfRanges(ranges)) {
            out << "\t\t<string>" << block << "</string>\n";
            ++count;
        }
        out << "\t</array>\n";
    }
    out << "</dict>\n</plist>\n";
    return count;
}

} // namespace brindle
