// SPDX-License-Identifier: BSD-2-Clause
#include "bench/captures/Traffic.h"

#include <algorithm>
#include <array>
#include <bit>
#include <iterator>
#include <utility>

namespace brindle::bench {

namespace {

constexpr std::uint16_t kInboundPorts[] = {23,  22,   443,  445,  3389, 80,   8080, 5060, 1433,
                                           53,  3306, 25,   5900, 6379, 8443, 123,  5432, 110,
                                           143, 161,  1900, 2323, 8888, 9200, 11211};
constexpr std::uint16_t kOutboundPorts[] = {443, 53, 80, 123, 993, 22, 587, 853, 8443, 5222};

std::uint64_t mix(std::uint64_t value) {
    value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9ULL;
    value = (value ^ (value >> 27)) * 0x94D049BB133111EBULL;
    return value ^ (value >> 31);
}

IpAddress v4(std::uint32_t number) {
    const std::array<std::uint8_t, 4> bytes{
        static_cast<std::uint8_t>(number >> 24), static_cast<std::uint8_t>(number >> 16),
        static_cast<std::uint8_t>(number >> 8), static_cast<std::uint8_t>(number)};
    return IpAddress::fromBytes(bytes);
}

/// An address of a network that anybody may have been given.
std::uint32_t worldwide(std::uint64_t rank) {
    for (std::uint64_t attempt = rank + 1;; attempt += Traffic::kMostAddresses) {
        const auto number = static_cast<std::uint32_t>(mix(attempt) >> 32);
        const std::uint32_t first = number >> 24;
        // The first numbers below which something is private, special, multicast or reserved.
        constexpr std::uint32_t kSpecial[] = {0, 10, 100, 127, 169, 172, 192, 198, 203};
        if (first < 224 && std::ranges::find(kSpecial, first) == std::end(kSpecial))
            return number;
    }
}

/// An address below 2001:db8::/32.
IpAddress v6(std::uint32_t subnet, std::uint64_t host) {
    std::array<std::uint8_t, 16> bytes{0x20, 0x01, 0x0d, 0xb8};
    for (std::size_t i = 0; i < 4; ++i)
        bytes[4 + i] = static_cast<std::uint8_t>(subnet >> (8 * (3 - i)));
    for (std::size_t i = 0; i < 8; ++i)
        bytes[8 + i] = static_cast<std::uint8_t>(host >> (8 * (7 - i)));
    return IpAddress::fromBytes(bytes);
}

} // namespace

std::uint64_t Random::next() {
    state_ += 0x9E3779B97F4A7C15ULL;
    return mix(state_);
}

std::uint64_t Random::skewedBelow(std::uint64_t count) {
    // A power of two below the count, each as likely as the next, then evenly within it.
    for (;;) {
        const auto octaves = static_cast<std::uint64_t>(std::bit_width(count));
        const std::uint64_t start = std::uint64_t{1} << below(octaves);
        const std::uint64_t rank = start + below(start) - 1;
        if (rank < count)
            return rank;
    }
}

Traffic::Traffic(std::uint64_t seed, std::uint64_t addresses, Remote remote)
    : random_(seed), remote_(remote) {
    addresses = std::clamp<std::uint64_t>(addresses, 5, kMostAddresses);
    remoteV6_ = addresses / 5;
    remoteV4_ = addresses - remoteV6_;
}

IpAddress Traffic::remoteAddress(bool isV6) {
    if (isV6) {
        const std::uint64_t rank = random_.skewedBelow(remoteV6_);
        return v6(static_cast<std::uint32_t>(mix(rank) | 0x00010000), mix(~rank));
    }
    const std::uint64_t rank = random_.skewedBelow(remoteV4_);
    if (remote_ == Remote::worldwide)
        return v4(worldwide(rank));
    constexpr std::uint32_t kDocumentation[] = {0xC0000200, 0xC6336400, 0xCB007100};
    if (rank < 600) // neighbouring ranks in different networks
        return v4(kDocumentation[rank % 3] + static_cast<std::uint32_t>((rank * 73 + 5) % 256));
    // An odd factor spreads the ranks over 198.18.0.0/15 without two of them meeting.
    return v4(0xC6120000 + static_cast<std::uint32_t>((rank * 40503) & 0x1FFFF));
}

IpAddress Traffic::localAddress(bool isV6) {
    const std::uint64_t rank = random_.skewedBelow(40);
    if (isV6)
        return v6(0x0000'0001, rank + 1);
    constexpr std::uint32_t kNetworks[] = {0xC0A80100, 0x0A000000, 0xAC100500, 0x64400000};
    return v4(kNetworks[rank % 4] + static_cast<std::uint32_t>(2 + rank));
}

void Traffic::choosePorts(LoggedPacket& packet) {
    packet.srcport = static_cast<std::uint16_t>(1024 + random_.below(64512));
    if (packet.outbound)
        packet.dstport = kOutboundPorts[random_.skewedBelow(std::size(kOutboundPorts))];
    else if (random_.percent(85))
        packet.dstport = kInboundPorts[random_.skewedBelow(std::size(kInboundPorts))];
    else
        packet.dstport = static_cast<std::uint16_t>(1024 + random_.below(64512));
}

void Traffic::chooseRule(LoggedPacket& packet) {
    // Three of four inbound packets are blocked, one of four outbound ones: six of ten together.
    packet.block = random_.percent(packet.outbound ? 25 : 75);
    packet.rule = static_cast<std::uint32_t>(random_.skewedBelow(packet.block ? 30 : 60)) +
                  (packet.block ? 2u : 40u);
    if (random_.percent(8)) {
        packet.anchor = packet.block ? "scanners" : "relay";
        packet.subrule = static_cast<std::uint32_t>(random_.below(6));
    }
    if (packet.block && random_.percent(3))
        packet.reason = random_.percent(50) ? 2 : 10; // fragment, state-mismatch
    if (packet.outbound ? random_.percent(60) : random_.percent(4)) {
        packet.hasUid = true;
        const std::uint64_t user = random_.below(10);
        packet.uid = user < 6 ? 1000 : user < 9 ? 0 : 65534;
    }
}

LoggedPacket Traffic::next() {
    LoggedPacket packet;
    const bool isV6 = random_.percent(20);
    packet.outbound = random_.percent(30);
    packet.src = remoteAddress(isV6);
    packet.dst = localAddress(isV6);
    if (packet.outbound)
        std::swap(packet.src, packet.dst);

    const std::uint64_t kind = random_.below(100);
    packet.protocol = kind < 62 ? 6 : kind < 89 ? 17 : kind < 98 ? (isV6 ? 58 : 1) : 50;
    if (packet.protocol == 6 || packet.protocol == 17)
        choosePorts(packet);
    if (packet.protocol == 17) {
        packet.laterFragment = random_.percent(3);
        packet.payload = static_cast<std::uint16_t>(8 + random_.below(57));
    } else if (packet.protocol != 6) {
        packet.payload = 48;
    }
    chooseRule(packet);
    packet.interface = random_.percent(72) ? "em0" : random_.percent(85) ? "igb1" : "lo0";
    return packet;
}

} // namespace brindle::bench
