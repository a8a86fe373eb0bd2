// SPDX-License-Identifier: BSD-2-Clause
#include "app/tallies/TallyFilter.h"

#include "core/net/DecimalText.h"
#include "core/net/IpAddress.h"

#include <algorithm>

namespace brindle {
namespace {

constexpr std::int64_t kMaxPort = 65535;

constexpr char foldCase(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}

bool allDigits(std::string_view text) {
    return !text.empty() && std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; });
}

/// The word comes in lower case.
bool contains(std::string_view text, std::string_view word) {
    return std::ranges::search(text, word, {}, [](char c) { return foldCase(c); }).begin() !=
               text.end() ||
           word.empty();
}

bool isSpace(char c) {
    return c == ' ' || c == '\t';
}

} // namespace

TallyFilter::TallyFilter(std::string_view text) {
    while (true) {
        const auto* const begin = std::ranges::find_if_not(text, isSpace);
        const auto* const end = std::find_if(begin, text.end(), isSpace);
        const std::string_view word(begin, end);
        if (word.empty())
            return;
        // A lone "-" is what a negated word begins with while it is typed.
        if (word != "-")
            terms_.push_back(parse(word));
        text = std::string_view(end, text.end());
    }
}

TallyFilter::Term TallyFilter::parse(std::string_view text) {
    Term term;
    if (text.starts_with('-')) {
        term.negated = true;
        text.remove_prefix(1);
    }
    term.word.assign(text);
    std::ranges::transform(term.word, term.word.begin(), [](char c) { return foldCase(c); });

    if (const std::size_t slash = text.rfind('/'); slash != text.npos) {
        const auto address = IpAddress::parse(text.substr(0, slash));
        const std::string_view prefixText = text.substr(slash + 1);
        const auto prefix = allDigits(prefixText) ? decimalInteger(prefixText) : std::nullopt;
        if (!address || !prefix)
            return term;
        const bool isV4 = address->family() == IpAddress::Family::v4;
        if (*prefix > (isV4 ? 32 : 128))
            return term;
        if (isV4)
            term.ipv4 = blockRange(*ipv4Number(*address), static_cast<unsigned>(*prefix));
        else
            term.ipv6 = blockRange(*ipv6Groups(*address), static_cast<unsigned>(*prefix));
        return term;
    }
    if (const std::size_t hyphen = text.find('-'); hyphen != text.npos) {
        const std::string_view firstText = text.substr(0, hyphen);
        const std::string_view lastText = text.substr(hyphen + 1);
        if (!allDigits(firstText) || !allDigits(lastText))
            return term;
        const auto first = decimalInteger(firstText);
        const auto last = decimalInteger(lastText);
        if (first && last && *first <= *last && *last <= kMaxPort)
            term.ports = Ports{*first, *last};
    }
    return term;
}

bool TallyFilter::holds(const Term& term, const VisualizerObj& row) {
    if (term.ipv4) {
        const auto quad = row.isIP() ? canonicalQuad(row.originallabel()) : std::nullopt;
        return quad && term.ipv4->contains(*quad);
    }
    if (term.ipv6) {
        const auto address = row.isIP() && row.originallabel().find(':') != std::string::npos
                                 ? IpAddress::parse(row.originallabel())
                                 : std::nullopt;
        const auto groups = address ? ipv6Groups(*address) : std::nullopt;
        return groups && term.ipv6->contains(*groups);
    }
    if (term.ports && row.isPort()) {
        const auto number = decimalInteger(row.originallabel());
        return number && term.ports->first <= *number && *number <= term.ports->last;
    }
    return contains(row.label(), term.word) || contains(row.originallabel(), term.word) ||
           contains(row.portname(), term.word) || contains(row.nationcodeip(), term.word) ||
           (row.natinfoip() && contains(row.natinfoip()->name, term.word));
}

bool TallyFilter::matches(const VisualizerObj& row) const {
    return std::ranges::all_of(terms_,
                               [&](const Term& term) { return holds(term, row) != term.negated; });
}

} // namespace brindle
