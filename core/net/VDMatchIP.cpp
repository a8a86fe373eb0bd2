// SPDX-License-Identifier: BSD-2-Clause
#include "core/net/VDMatchIP.h"

#include "core/net/IpRange.h"

#include <arpa/inet.h>
#include <string>

namespace brindle {

bool VDMatchIP::validateIPV4cidr(std::string_view block) const {
    // The C library's function would also take hexadecimal networks, whose range nobody computes.
    if (block.find_first_not_of("0123456789./") != block.npos)
        return false;
    in_addr network{};
    return inet_net_pton(AF_INET, std::string(block).c_str(), &network, sizeof network) != -1;
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
