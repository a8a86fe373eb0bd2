// SPDX-License-Identifier: BSD-2-Clause
#include "app/logs/table/FilterTerm.h"

#include "core/net/DecimalText.h"

#include <algorithm>

namespace brindle {
namespace {

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

bool contains(const std::optional<FilterTerm::Numbers>& numbers, std::string_view text) {
    const std::optional<std::int64_t> number = decimalInteger(text);
    return number && numbers->contains(*number);
}

} // namespace

bool FilterTerm::foundWhole(std::string_view text) const {
    for (std::size_t at = text.find(needle); at != text.npos; at = text.find(needle, at + 1)) {
        const std::size_t end = at + needle.size();
        const bool runsOnBefore = at > 0 && isDigit(needle.front()) && isDigit(text[at - 1]);
        const bool runsOnAfter = end < text.size() && isDigit(needle.back()) && isDigit(text[end]);
        if (!runsOnBefore && !runsOnAfter)
            return true;
    }
    return false;
}

bool FilterTerm::addressHit(std::string_view address) const {
    if (ipv4) {
        const std::optional<std::uint32_t> quad = canonicalQuad(address);
        return quad && ipv4->contains(*quad);
    }
    if (ipv6) {
        if (address.find(':') == address.npos)
            return false;
        const std::optional<IpAddress> parsed = IpAddress::parse(address);
        const auto groups = parsed ? ipv6Groups(*parsed) : std::nullopt;
        return groups && ipv6->contains(*groups);
    }
    return address.starts_with(needle);
}

bool FilterTerm::portHit(std::string_view port, std::string_view service) const {
    return numbers ? contains(numbers, port) : service == needle;
}

bool FilterTerm::uidHit(std::string_view uid) const {
    return contains(numbers, uid);
}

bool FilterTerm::couldBeDate() const {
    return std::ranges::all_of(
        needle, [](char c) { return isDigit(c) || c == '/' || c == ':' || c == ' ' || c == '-'; });
}

} // namespace brindle
