// SPDX-License-Identifier: BSD-2-Clause
//
// The addresses that this machine cannot do without: its own, its default gateways and its name
// servers, read from the system at the moment of asking. A value; any thread.
#pragma once

#include "core/net/IpAddress.h"

#include <string_view>
#include <vector>

namespace brindle::vardex {

struct MachineAddresses {
    std::vector<IpAddress> own;
    std::vector<IpAddress> gateways;
    std::vector<IpAddress> nameServers;

    /// What cannot be read is left out.
    static MachineAddresses current();
};

/// The gateways of default routes in the text of /proc/net/route.
std::vector<IpAddress> gatewaysOfRoutes(std::string_view text);
/// The same of /proc/net/ipv6_route.
std::vector<IpAddress> gatewaysOfIpv6Routes(std::string_view text);
/// The name servers in the text of /etc/resolv.conf.
std::vector<IpAddress> nameServersOf(std::string_view text);

} // namespace brindle::vardex
