// SPDX-License-Identifier: BSD-2-Clause
#include "core/net/VDAddress.h"

#include "core/net/KVTools.h"
#include "core/net/NWKIPTools.h"
#include "core/net/VDMatchIP.h"
#include "core/net/VDValidateIP.h"

namespace brindle {

std::optional<VDAddress> VDAddress::fromText(std::string_view text) {
    if (text.find('.') != text.npos && text.ends_with("/32"))
        return std::nullopt;
    if (text.ends_with("/0") && text != "0.0.0.0/0" && text != "::/0")
        return std::nullopt;
    const bool single = VDValidateIP().isValidIpAddress(text);
    if (!single && (text.find('/') == text.npos ||
                    (!VDMatchIP().validateIPV4cidr(text) && !NWKIPTools().isValidIPV6cidr(text))))
        return std::nullopt;

    VDAddress built;
    built.address = text;
    built.isRange = !single;
    built.version = text.find(':') != text.npos ? 6 : 4;
    // What the rules above let through without a host bit ("1.2.3.4/032", "10/32") ends here.
    if (!built.computeBounds(text))
        return std::nullopt;
    return built;
}

bool VDAddress::computeBounds(std::string_view text) {
    const NWKIPTools tools;
    if (version == 6) {
        if (!isRange) {
            min6 = max6 = KVTools().ipv6intconverter(text);
            return true;
        }
        const auto range = tools.rangeFromIPV6cidr(text);
        if (range) {
            min6 = range->first;
            max6 = range->last;
        }
        return range.has_value();
    }
    if (!isRange) {
        const auto number = tools.ipv4intconverter(text);
        min4 = max4 = number.value_or(0);
        return number.has_value();
    }
    const auto range = tools.rangeFromIPV4cidr(text);
    if (range) {
        min4 = range->first;
        max4 = range->last;
    }
    return range.has_value();
}

} // namespace brindle
