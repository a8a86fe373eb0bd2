// SPDX-License-Identifier: BSD-2-Clause
//
// One term of the filter, parsed: which field it looks at and what it looks for there. Each test is
// written once, on texts, for both ways of evaluation. Immutable; any thread.
#pragma once

#include "core/log/records/PacketRecord.h"
#include "core/net/IpRange.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace brindle {

enum class FilterField : std::uint8_t {
    word, ///< any shown text
    source,
    destination,
    address,
    sourcePort,
    destinationPort,
    port,
    user,
    uid,
    rule,
    interface,
    protocol,
    action,
    direction,
    host,
    service
};

struct FilterTerm {
    FilterField field = FilterField::word;
    bool negated = false;
    std::string needle; ///< in lower case
    // At most one of these; for the fields of addresses, ports and user ids.
    std::optional<Ipv4Range> ipv4;
    std::optional<Ipv6Range> ipv6;
    struct Numbers {
        std::int64_t first;
        std::int64_t last;
        bool contains(std::int64_t number) const { return first <= number && number <= last; }
    };
    std::optional<Numbers> numbers;
    Action action = Action::pass;
    Direction direction = Direction::in;

    // Texts come in lower case; those of ports and user ids as they are.

    bool found(std::string_view text) const { return text.find(needle) != text.npos; }
    /// Like found, but a number at an end of the needle is a whole number in the text: "12" is in
    /// "anchor/12", not in "112".
    bool foundWhole(std::string_view text) const;
    /// A raw address: within the block, or the text begins with the needle.
    bool addressHit(std::string_view address) const;
    /// A name shown in place of an address.
    bool nameHit(std::string_view name) const { return !ipv4 && !ipv6 && found(name); }
    /// A port: among the numbers, or its service is the needle.
    bool portHit(std::string_view port, std::string_view service) const;
    bool uidHit(std::string_view uid) const;
    /// Some date could hold the needle.
    bool couldBeDate() const;
};

} // namespace brindle
