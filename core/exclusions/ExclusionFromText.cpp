// SPDX-License-Identifier: BSD-2-Clause
#include "core/exclusions/ExclusionFromText.h"

#include "core/net/DecimalText.h"
#include "core/net/NWKIPTools.h"

#include <optional>
#include <string>

namespace brindle {

ExclusionFromText exclusionFromText(std::string_view text) {
    if (text.empty())
        return NoExclusion();
    if (text.find_first_of(".:") == text.npos) {
        const auto port = decimalInteger(text);
        if (!port)
            return InvalidExclusion();
        return VDXExclusion("port", std::to_string(*port), std::nullopt, std::nullopt, 4);
    }
    const auto address = VDAddress::fromText(text);
    if (!address)
        return InvalidExclusion();
    return exclusionFromAddress(*address);
}

VDXExclusion exclusionFromAddress(const VDAddress& address) {
    if (!address.isRange)
        return {"ip", address.address, std::nullopt, std::nullopt, address.version};
    if (address.version == 4)
        return {"cidr", address.address, ipv4StringFromNumber(address.min4),
                ipv4StringFromNumber(address.max4), 4};
    return {"cidr", address.address, ipv6StringFromGroups(address.min6),
            ipv6StringFromGroups(address.max6), 6};
}

} // namespace brindle
