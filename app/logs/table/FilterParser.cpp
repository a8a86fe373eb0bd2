// SPDX-License-Identifier: BSD-2-Clause
#include "app/logs/table/FilterExpression.h"
#include "app/logs/table/FilterTerm.h"
#include "app/logs/table/FoldCase.h"
#include "core/net/DecimalText.h"

#include <algorithm>
#include <array>
#include <limits>
#include <utility>

#include <fmt/format.h>

namespace brindle {
namespace {

constexpr std::int64_t kMaxPort = 65535;
constexpr std::int64_t kMaxUid = std::numeric_limits<std::uint32_t>::max();

struct FieldEntry {
    std::string_view name;
    FilterField field;
    std::string_view explanation;
    std::string_view wanted; ///< what is missing when nothing follows the colon
};
constexpr std::array<FieldEntry, 15> kFields{{
    {"src", FilterField::source, "Source address: a block, an address, how it begins, or a name",
     "an address"},
    {"dst", FilterField::destination,
     "Destination address: a block, an address, how it begins, or a name", "an address"},
    {"addr", FilterField::address, "Source or destination address", "an address"},
    {"sport", FilterField::sourcePort, "Source port: a number, a range 1000-2000, or a service",
     "a port"},
    {"dport", FilterField::destinationPort,
     "Destination port: a number, a range 1000-2000, or a service", "a port"},
    {"port", FilterField::port, "Source or destination port", "a port"},
    {"user", FilterField::user, "User name, or the user id where there is none", "a user name"},
    {"uid", FilterField::uid, "User id: a number, or a range 1000-2000", "a user id"},
    {"rule", FilterField::rule, "Rule number, anchor or log prefix", "a rule"},
    {"if", FilterField::interface, "Network interface", "an interface"},
    {"proto", FilterField::protocol, "Protocol, by its whole name", "a protocol"},
    {"action", FilterField::action, "pass or block", "pass or block"},
    {"dir", FilterField::direction, "in or out", "in or out"},
    {"host", FilterField::host, "Part of a resolved host name", "a host name"},
    {"service", FilterField::service, "Part of a service name of either port", "a service name"},
}};

bool isSpace(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
}
bool allDigits(std::string_view text) {
    return !text.empty() && std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; });
}
bool isLetter(char c) {
    return foldCase(c) >= 'a' && foldCase(c) <= 'z';
}

/// Text before a colon that was meant as a field: letters, and not the first group of an IPv6
/// address.
bool looksLikeField(std::string_view text) {
    const auto isHex = [](char c) { return foldCase(c) <= 'f'; };
    return !text.empty() && std::ranges::all_of(text, isLetter) &&
           (text.size() > 4 || !std::ranges::all_of(text, isHex));
}

using Sentence = std::string;
/// Nothing, or what is wrong.
using Mistake = std::optional<Sentence>;

Mistake readAddress(FilterTerm& term, std::string_view value) {
    const std::size_t slash = value.rfind('/');
    const std::string_view addressText = value.substr(0, slash);
    const std::optional<IpAddress> address = IpAddress::parse(addressText);
    // "fe80::" is typed for all that begins so.
    if (slash == value.npos && (!address || value.ends_with("::")))
        return std::nullopt;
    if (!address)
        return fmt::format("“{}”: “{}” is no IPv4 or IPv6 address", value, addressText);

    const bool v4 = address->family() == IpAddress::Family::v4;
    const std::int64_t width = v4 ? 32 : 128;
    std::int64_t prefix = width;
    if (slash != value.npos) {
        const std::string_view prefixText = value.substr(slash + 1);
        const auto number = allDigits(prefixText) ? decimalInteger(prefixText) : std::nullopt;
        if (!number || *number > width)
            return fmt::format("“{}”: the prefix length of an {} block is 0 to {}", value,
                               v4 ? "IPv4" : "IPv6", width);
        prefix = *number;
    }
    if (v4)
        term.ipv4 = blockRange(*ipv4Number(*address), static_cast<unsigned>(prefix));
    else
        term.ipv6 = blockRange(*ipv6Groups(*address), static_cast<unsigned>(prefix));
    return std::nullopt;
}

/// A number or a range of numbers up to `largest`; `what` they are, for the sentence. Leaves the
/// term alone when the value is made of other than digits and hyphens.
Mistake readNumbers(FilterTerm& term, std::string_view value, std::int64_t largest,
                    std::string_view what) {
    const bool numeric =
        std::ranges::all_of(value, [](char c) { return (c >= '0' && c <= '9') || c == '-'; });
    if (!numeric)
        return std::nullopt;
    const std::size_t hyphen = value.find('-');
    const std::string_view firstText = value.substr(0, hyphen);
    const std::string_view lastText = hyphen == value.npos ? firstText : value.substr(hyphen + 1);
    if (!allDigits(firstText) || !allDigits(lastText))
        return fmt::format("“{}”: a range is written as 1000-2000", value);
    const auto first = decimalInteger(firstText);
    const auto last = decimalInteger(lastText);
    if (!first || !last || *first > largest || *last > largest)
        return fmt::format("“{}”: a {} is a number from 0 to {}", value, what, largest);
    if (*first > *last)
        return fmt::format("“{}”: the range ends before it begins", value);
    term.numbers = FilterTerm::Numbers{*first, *last};
    return std::nullopt;
}

/// What the value begins, of two words; nothing when it begins neither.
std::optional<bool> beginsSecond(std::string_view value, std::string_view first,
                                 std::string_view second) {
    if (first.starts_with(value))
        return false;
    if (second.starts_with(value))
        return true;
    return std::nullopt;
}

Mistake readValue(FilterTerm& term, std::string_view value) {
    term.needle = foldCase(value);
    switch (term.field) {
    case FilterField::source:
    case FilterField::destination:
    case FilterField::address:
        return readAddress(term, value);
    case FilterField::sourcePort:
    case FilterField::destinationPort:
    case FilterField::port:
        return readNumbers(term, value, kMaxPort, "port");
    case FilterField::uid: {
        // Some systems write the ids of "nobody" as negative numbers.
        if (value.starts_with('-') && allDigits(value.substr(1)))
            if (const auto number = decimalInteger(value)) {
                term.numbers = FilterTerm::Numbers{*number, *number};
                return std::nullopt;
            }
        if (Mistake mistake = readNumbers(term, value, kMaxUid, "user id"))
            return mistake;
        if (!term.numbers)
            return fmt::format("“{}”: a user id is a number; for names there is user:", value);
        return std::nullopt;
    }
    case FilterField::action: {
        const auto block = beginsSecond(term.needle, "passed", "blocked");
        if (!block)
            return fmt::format("“{}”: the action is pass or block", value);
        term.action = *block ? Action::block : Action::pass;
        return std::nullopt;
    }
    case FilterField::direction: {
        const auto out = beginsSecond(term.needle, "in", "out");
        if (!out)
            return fmt::format("“{}”: the direction is in or out", value);
        term.direction = *out ? Direction::out : Direction::in;
        return std::nullopt;
    }
    default:
        return std::nullopt;
    }
}

/// One term as typed: its place, and its characters with a mark on those that were quoted.
struct Token {
    std::size_t position = 0;
    std::size_t length = 0;
    std::string text;
    std::vector<bool> quoted;
    bool openQuote = false;
};

std::optional<Token> nextToken(std::string_view text, std::size_t& at) {
    while (at < text.size() && isSpace(text[at]))
        ++at;
    if (at == text.size())
        return std::nullopt;
    Token token;
    token.position = at;
    bool inQuotes = false;
    for (; at < text.size() && (inQuotes || !isSpace(text[at])); ++at) {
        if (text[at] == '"') {
            inQuotes = !inQuotes;
            continue;
        }
        token.text += text[at];
        token.quoted.push_back(inQuotes);
    }
    token.length = at - token.position;
    token.openQuote = inQuotes;
    return token;
}

tl::expected<FilterTerm, Sentence> readTerm(const Token& token, std::string_view typed) {
    if (token.openQuote)
        return tl::unexpected(fmt::format("“{}”: the quotation mark is not closed", typed));
    FilterTerm term;
    std::string_view rest = token.text;
    std::size_t skipped = 0;
    if (rest.starts_with('-') && !token.quoted[0]) {
        term.negated = true;
        skipped = 1;
    }
    rest.remove_prefix(skipped);
    if (rest.empty())
        return tl::unexpected(term.negated && typed == "-"
                                  ? Sentence("“-”: what is to be left out is missing")
                                  : fmt::format("“{}”: there is nothing to look for", typed));

    const std::size_t colon = rest.find(':');
    const auto fieldIsQuoted = [&] {
        return std::find(token.quoted.begin(),
                         token.quoted.begin() + static_cast<std::ptrdiff_t>(skipped + colon + 1),
                         true) !=
               token.quoted.begin() + static_cast<std::ptrdiff_t>(skipped + colon + 1);
    };
    if (colon != rest.npos && !fieldIsQuoted()) {
        const std::string name = foldCase(rest.substr(0, colon));
        const std::string_view value = rest.substr(colon + 1);
        const auto* entry = std::ranges::find(kFields, name, &FieldEntry::name);
        if (entry != kFields.end()) {
            if (value.empty())
                return tl::unexpected(fmt::format("“{}”: {} is missing", typed, entry->wanted));
            term.field = entry->field;
            if (Mistake mistake = readValue(term, value))
                return tl::unexpected(std::move(*mistake));
            return term;
        }
        if (looksLikeField(name))
            return tl::unexpected(fmt::format(
                "“{}”: there is no field “{}”; to look for the text, put it in quotation marks",
                typed, rest.substr(0, colon)));
    }
    term.needle = foldCase(rest);
    return term;
}

} // namespace

tl::expected<FilterExpression, FilterError> FilterExpression::parse(std::string_view text) {
    FilterExpression expression;
    std::size_t at = 0;
    while (const std::optional<Token> token = nextToken(text, at)) {
        auto term = readTerm(*token, text.substr(token->position, token->length));
        if (!term)
            return tl::unexpected(
                FilterError{token->position, token->length, std::move(term.error())});
        expression.terms_.push_back(std::make_shared<const FilterTerm>(std::move(*term)));
    }
    return expression;
}

const std::vector<FilterFieldInfo>& filterFields() {
    static const std::vector<FilterFieldInfo> fields = [] {
        std::vector<FilterFieldInfo> all;
        for (const FieldEntry& entry : kFields)
            all.push_back({entry.name, entry.explanation});
        return all;
    }();
    return fields;
}

} // namespace brindle
