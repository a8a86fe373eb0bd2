// SPDX-License-Identifier: BSD-2-Clause
#include "vardex/guard/MachineAddresses.h"

#include <array>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>

#include <ifaddrs.h>
#include <netinet/in.h>

namespace brindle::vardex {
namespace {

/// Flags of a route, as the kernel writes them.
constexpr std::uint32_t kRouteIsUp = 0x1;
constexpr std::uint32_t kRouteHasGateway = 0x2;

std::string contentOf(const char* path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<std::string_view> wordsOf(std::string_view line) {
    std::vector<std::string_view> words;
    for (;;) {
        const auto begin = line.find_first_not_of(" \t\r");
        if (begin == line.npos)
            return words;
        line.remove_prefix(begin);
        const auto end = std::min(line.find_first_of(" \t\r"), line.size());
        words.push_back(line.substr(0, end));
        line.remove_prefix(end);
    }
}

template <typename EachLine>
void forEachLine(std::string_view text, EachLine eachLine) {
    while (!text.empty()) {
        const auto end = std::min(text.find('\n'), text.size());
        eachLine(wordsOf(text.substr(0, end)));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
}

std::optional<std::uint32_t> hexNumber(std::string_view text) {
    std::uint32_t number = 0;
    const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), number, 16);
    if (error != std::errc() || rest != text.data() + text.size())
        return std::nullopt;
    return number;
}

/// 32 digits, in network order.
std::optional<IpAddress> ipv6FromHex(std::string_view text) {
    std::array<std::uint8_t, 16> bytes{};
    if (text.size() != 2 * bytes.size())
        return std::nullopt;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        const auto byte = hexNumber(text.substr(2 * i, 2));
        if (!byte)
            return std::nullopt;
        bytes[i] = static_cast<std::uint8_t>(*byte);
    }
    return IpAddress::fromBytes(bytes);
}

std::vector<IpAddress> ownAddresses() {
    std::vector<IpAddress> own;
    ifaddrs* list = nullptr;
    if (getifaddrs(&list) != 0)
        return own;
    for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_addr == nullptr)
            continue;
        if (entry->ifa_addr->sa_family == AF_INET) {
            sockaddr_in address{};
            std::memcpy(&address, entry->ifa_addr, sizeof address);
            std::array<std::uint8_t, 4> bytes{};
            std::memcpy(bytes.data(), &address.sin_addr, bytes.size());
            own.push_back(IpAddress::fromBytes(bytes));
        } else if (entry->ifa_addr->sa_family == AF_INET6) {
            sockaddr_in6 address{};
            std::memcpy(&address, entry->ifa_addr, sizeof address);
            std::array<std::uint8_t, 16> bytes{};
            std::memcpy(bytes.data(), &address.sin6_addr, bytes.size());
            own.push_back(IpAddress::fromBytes(bytes));
        }
    }
    freeifaddrs(list);
    return own;
}

} // namespace

std::vector<IpAddress> gatewaysOfRoutes(std::string_view text) {
    // Iface Destination Gateway Flags RefCnt Use Metric Mask: addresses as the machine's numbers.
    std::vector<IpAddress> gateways;
    forEachLine(text, [&](const std::vector<std::string_view>& words) {
        if (words.size() < 8)
            return;
        const auto gateway = hexNumber(words[2]);
        const auto flags = hexNumber(words[3]);
        constexpr std::uint32_t wanted = kRouteIsUp | kRouteHasGateway;
        if (hexNumber(words[1]) != 0u || hexNumber(words[7]) != 0u || !gateway || !flags ||
            (*flags & wanted) != wanted)
            return;
        std::array<std::uint8_t, 4> bytes{};
        std::memcpy(bytes.data(), &*gateway, bytes.size());
        gateways.push_back(IpAddress::fromBytes(bytes));
    });
    return gateways;
}

std::vector<IpAddress> gatewaysOfIpv6Routes(std::string_view text) {
    // destination prefix source prefix next-hop metric references use flags interface
    std::vector<IpAddress> gateways;
    const std::string zero(32, '0');
    forEachLine(text, [&](const std::vector<std::string_view>& words) {
        if (words.size() < 10 || words[0] != zero || words[1] != "00" || words[4] == zero)
            return;
        const auto flags = hexNumber(words[8]);
        const auto gateway = ipv6FromHex(words[4]);
        if (gateway && flags && (*flags & kRouteHasGateway) != 0)
            gateways.push_back(*gateway);
    });
    return gateways;
}

std::vector<IpAddress> nameServersOf(std::string_view text) {
    std::vector<IpAddress> servers;
    forEachLine(text, [&](const std::vector<std::string_view>& words) {
        if (words.size() < 2 || words[0] != "nameserver")
            return;
        if (const auto server = IpAddress::parse(words[1].substr(0, words[1].find('%'))))
            servers.push_back(*server);
    });
    return servers;
}

MachineAddresses MachineAddresses::current() {
    MachineAddresses machine;
    machine.own = ownAddresses();
    machine.gateways = gatewaysOfRoutes(contentOf("/proc/net/route"));
    for (const IpAddress& gateway : gatewaysOfIpv6Routes(contentOf("/proc/net/ipv6_route")))
        machine.gateways.push_back(gateway);
    machine.nameServers = nameServersOf(contentOf("/etc/resolv.conf"));
    return machine;
}

} // namespace brindle::vardex
