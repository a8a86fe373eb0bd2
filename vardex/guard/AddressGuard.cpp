// SPDX-License-Identifier: BSD-2-Clause
#include "vardex/guard/AddressGuard.h"

#include <string_view>

namespace brindle::vardex {
namespace {

struct SpecialBlock {
    std::string_view block;
    std::string_view single; ///< what an address in it is
    std::string_view many;   ///< what a block that touches it contains
};

constexpr SpecialBlock kSpecialBlocks[]{
    {"127.0.0.0/8", "is a loopback address", "contains loopback addresses"},
    {"::1", "is the loopback address", "contains the loopback address"},
    {"169.254.0.0/16", "is a link-local address", "contains link-local addresses"},
    {"fe80::/10", "is a link-local address", "contains link-local addresses"},
    {"224.0.0.0/4", "is a multicast address", "contains multicast addresses"},
    {"ff00::/8", "is a multicast address", "contains multicast addresses"},
    {"255.255.255.255", "is the broadcast address", "contains the broadcast address"},
    {"0.0.0.0/8", "is no address of a host", "contains addresses of no host"},
    {"::", "is no address of a host", "contains an address of no host"},
};

std::optional<std::string> reasonAmong(const AddressBlock& block,
                                       const std::vector<IpAddress>& addresses,
                                       std::string_view what) {
    for (const IpAddress& address : addresses) {
        if (!block.contains(address))
            continue;
        if (block.isSingle())
            return "is " + std::string(what);
        return "contains " + std::string(what) + ' ' + address.text();
    }
    return std::nullopt;
}

} // namespace

std::optional<std::string> reasonToRefuse(const AddressBlock& block,
                                          const MachineAddresses& machine) {
    for (const SpecialBlock& special : kSpecialBlocks)
        if (const auto range = AddressBlock::parse(special.block); range->overlaps(block))
            return std::string(block.isSingle() ? special.single : special.many);
    if (auto reason = reasonAmong(block, machine.gateways, "the default gateway"))
        return reason;
    if (auto reason = reasonAmong(block, machine.nameServers, "the name server"))
        return reason;
    return reasonAmong(block, machine.own, "this machine's own address");
}

} // namespace brindle::vardex
