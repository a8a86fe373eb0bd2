// SPDX-License-Identifier: BSD-2-Clause
#include "core/net/VDMatchIP.h"

#include "core/net/DecimalText.h"
#include "core/net/IpRange.h"

#include <cstdint>

namespace brindle {

namespace {

/// One to any number of digits whose value is at most `limit`; leading zeros count for nothing.
bool isDecimalUpTo(std::string_view digits, std::int64_t limit) {
    if (digits.find_first_not_of("0123456789") != digits.npos)
        return false;
    const auto value = decimalInteger(digits);
    return value && *value <= limit;
}

} // namespace

// The C library's inet_net_pton also takes hexadecimal networks, whose range nobody computes; and
// it lives in the name resolution library, which the daemon is not to load.
bool VDMatchIP::validateIPV4cidr(std::string_view block) const {
    const auto slash = block.find('/');
    if (slash != block.npos && !isDecimalUpTo(block.substr(slash + 1), 32))
        return false;
    std::string_view network = block.substr(0, slash);
    for (int part = 1; part <= 4; ++part) {
        const auto dot = network.find('.');
        if (!isDecimalUpTo(network.substr(0, dot), 255))
            return false;
        if (dot == network.npos)
            return true;
        network.remove_prefix(dot + 1);
    }
    return false;
}

bool VDMatchIP::validateIPV6cidr(std::string_view block) const {
    return ipv6Block(block).has_value();
}

bool VDMatchIP::matchIP(std::string_view address, std::string_view block) const {
    const auto range = matchRange(block);
    const auto number = ipv4NumberLoose(address);
    return range && number && range->contains(*number);
}

bool VDMatchIP::matchIPV6(std::string_view address, std::string_view block) const {
    const auto parsed = IpAddress::parse(address);
    const auto groups = parsed ? ipv6Groups(*parsed) : std::nullopt;
    const auto network = ipv6Block(block);
    return groups && network && blockRange(network->address, network->prefix).contains(*groups);
}

} // namespace brindle
