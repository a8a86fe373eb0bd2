// SPDX-License-Identifier: BSD-2-Clause
#include "core/exclusions/BlockAround.h"

#include "core/net/IpAddress.h"
#include "core/net/NWKIPTools.h"

namespace brindle {
namespace {

constexpr const char* kSuffixV4 = "/24";
constexpr const char* kSuffixV6 = "/64";

AddressBlock block(std::string first, std::string last, int family) {
    std::string text = first + (family == 6 ? kSuffixV6 : kSuffixV4);
    return {std::move(first), std::move(last), std::move(text), family};
}

} // namespace

AddressBlock blockAround(const std::string& address, int family) {
    const NWKIPTools tools;
    if (family == 6) {
        if (const auto range = tools.rangeFromIPV6cidr(address + kSuffixV6))
            return block(ipv6StringFromGroups(range->first), ipv6StringFromGroups(range->last),
                         family);
    } else if (const auto range = tools.rangeFromIPV4cidr(address + kSuffixV4)) {
        return block(ipv4StringFromNumber(range->first), ipv4StringFromNumber(range->last), family);
    }
    return block(address, address, family);
}

bool isIpv6Text(std::string_view text) {
    const auto address = IpAddress::parse(text);
    return address && address->family() == IpAddress::Family::v6;
}

} // namespace brindle
