// SPDX-License-Identifier: BSD-2-Clause
#include "app/logs/ExclusionMenu.h"

namespace brindle {

std::vector<ExclusionChoice> exclusionChoices(const ExclusionSubject& subject) {
    const int family = isIpv6Text(subject.dstip) ? 6 : 4;

    const auto address = [&](const std::string& ip) {
        return ExclusionChoice{"Ignore Address " + ip,
                               VDXExclusion("ip", ip, std::nullopt, std::nullopt, family)};
    };
    const auto subnet = [&](const std::string& ip) {
        const AddressBlock block = blockAround(ip, family);
        return ExclusionChoice{"Ignore Subnet " + block.text, block.exclusion()};
    };
    const auto port = [&](const std::string& number) {
        return ExclusionChoice{"Ignore Port " + number,
                               VDXExclusion("port", number, std::nullopt, std::nullopt, family)};
    };
    return {address(subject.srcip), subnet(subject.srcip), address(subject.dstip),
            subnet(subject.dstip),  port(subject.dstport), port(subject.srcport)};
}

} // namespace brindle
