// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/sources/ip/ProtocolNames.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

namespace brindle::tallyd {

namespace {

constexpr std::pair<std::uint8_t, std::string_view> kAssigned[] = {
    {0, "ip"},
    {1, "icmp"},
    {2, "igmp"},
    {3, "ggp"},
    {4, "ipencap"},
    {5, "st"},
    {6, "tcp"},
    {8, "egp"},
    {9, "igp"},
    {12, "pup"},
    {17, "udp"},
    {20, "hmp"},
    {22, "xns-idp"},
    {27, "rdp"},
    {29, "iso-tp4"},
    {33, "dccp"},
    {36, "xtp"},
    {37, "ddp"},
    {38, "idpr-cmtp"},
    {41, "ipv6"},
    {43, "ipv6-route"},
    {44, "ipv6-frag"},
    {45, "idrp"},
    {46, "rsvp"},
    {47, "gre"},
    {50, "esp"},
    {51, "ah"},
    {57, "skip"},
    {58, "ipv6-icmp"},
    {59, "ipv6-nonxt"},
    {60, "ipv6-opts"},
    {73, "rspf"},
    {81, "vmtp"},
    {88, "eigrp"},
    {89, "ospf"},
    {93, "ax.25"},
    {94, "ipip"},
    {97, "etherip"},
    {98, "encap"},
    {103, "pim"},
    {108, "ipcomp"},
    {112, "vrrp"},
    {115, "l2tp"},
    {124, "isis"},
    {132, "sctp"},
    {133, "fc"},
    {135, "mobility-header"},
    {136, "udplite"},
    {137, "mpls-in-ip"},
    {138, "manet"},
    {139, "hip"},
    {140, "shim6"},
    {141, "wesp"},
    {142, "rohc"},
    {143, "ethernet"},
};

constexpr auto kNames = [] {
    std::array<std::string_view, 256> names{};
    for (const auto& [number, name] : kAssigned)
        names[number] = name;
    return names;
}();

} // namespace

std::string protocolName(std::uint8_t number) {
    const std::string_view name = kNames[number];
    return name.empty() ? std::to_string(number) : std::string(name);
}

std::string protocolNameFromText(std::string_view text) {
    std::uint8_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error == std::errc() && end == text.data() + text.size())
        return protocolName(number);

    std::string name(text);
    std::transform(name.begin(), name.end(), name.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
    if (name == "icmpv6" || name == "icmp6")
        return protocolName(58);
    return name;
}

} // namespace brindle::tallyd
