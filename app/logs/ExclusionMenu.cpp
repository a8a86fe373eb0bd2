// SPDX-License-Identifier: BSD-2-Clause
#include "app/logs/ExclusionMenu.h"

#include "core/net/NWKIPTools.h"

#include <array>

#include <arpa/inet.h>

namespace brindle {
namespace {

constexpr std::string_view kSubnetV4 = "/24";
constexpr std::string_view kSubnetV6 = "/64";

struct Block {
    std::string first;
    std::string last;
};

/// An address of the other family has no block of this one: it stands for itself.
Block blockAround(const std::string& address, int family) {
    const NWKIPTools tools;
    if (family == 6) {
        if (const auto range = tools.rangeFromIPV6cidr(address + std::string(kSubnetV6))) {
            return {ipv6StringFromGroups(range->first), ipv6StringFromGroups(range->last)};
        }
    } else if (const auto range = tools.rangeFromIPV4cidr(address + std::string(kSubnetV4))) {
        return {ipv4StringFromNumber(range->first), ipv4StringFromNumber(range->last)};
    }
    return {address, address};
}

} // namespace

bool isIpv6Text(std::string_view text) {
    std::array<unsigned char, 16> bytes{};
    return ::inet_pton(AF_INET6, std::string(text).c_str(), bytes.data()) == 1;
}

std::vector<ExclusionChoice> exclusionChoices(const ExclusionSubject& subject) {
    const int family = isIpv6Text(subject.dstip) ? 6 : 4;
    const std::string suffix(family == 6 ? kSubnetV6 : kSubnetV4);

    const auto address = [&](const std::string& ip) {
        return ExclusionChoice{"Ignore Address " + ip,
                               VDXExclusion("ip", ip, std::nullopt, std::nullopt, family)};
    };
    const auto subnet = [&](const std::string& ip) {
        const Block block = blockAround(ip, family);
        const std::string text = block.first + suffix;
        return ExclusionChoice{"Ignore Subnet " + text,
                               VDXExclusion("cidr", text, block.first, block.last, family)};
    };
    const auto port = [&](const std::string& number) {
        return ExclusionChoice{"Ignore Port " + number,
                               VDXExclusion("port", number, std::nullopt, std::nullopt, family)};
    };
    return {address(subject.srcip), subnet(subject.srcip), address(subject.dstip),
            subnet(subject.dstip),  port(subject.dstport), port(subject.srcport)};
}

} // namespace brindle
