// SPDX-License-Identifier: BSD-2-Clause
//
// Made-up packet filter traffic with the skew of real logs: few addresses and ports take most of
// the packets, most of what comes in is blocked. The same seed gives the same packets on every
// machine. Only addresses of the documentation, benchmarking and private ranges, unless addresses
// of the whole world are asked for. One thread.
//
//     Traffic traffic(7, 2000);
//     LoggedPacket packet = traffic.next();
#pragma once

#include "core/net/IpAddress.h"

#include <cstdint>
#include <string>

namespace brindle::bench {

/// A small generator whose numbers do not depend on the standard library's distributions.
class Random {
  public:
    explicit Random(std::uint64_t seed) : state_(seed) {}

    std::uint64_t next();
    /// 0 .. bound-1.
    std::uint64_t below(std::uint64_t bound) { return next() % bound; }
    bool percent(unsigned chance) { return below(100) < chance; }
    /// A rank 0 .. count-1; rank r comes about 1/(r+1) as often as rank 0.
    std::uint64_t skewedBelow(std::uint64_t count);

  private:
    std::uint64_t state_;
};

/// One packet as the filter logged it, before it takes the form of a capture.
struct LoggedPacket {
    IpAddress src;
    IpAddress dst;
    std::uint8_t protocol = 6; ///< IPv4's numbers; 58 for ICMPv6
    std::uint16_t srcport = 0; ///< of TCP and UDP
    std::uint16_t dstport = 0;
    bool laterFragment = false;
    std::uint16_t payload = 0; ///< bytes after the transport header
    bool block = false;
    bool outbound = false;
    std::uint8_t reason = 0; ///< pf's number
    std::uint32_t rule = 0;
    std::uint32_t subrule = 0; ///< counts only with an anchor
    std::string anchor;
    std::string interface;
    bool hasUid = false;
    std::uint32_t uid = 0;
};

class Traffic {
  public:
    static constexpr std::uint64_t kMostAddresses = 150'000;

    /// Where remote IPv4 addresses lie. Those of the world are drawn blindly; they are for looking
    /// at what the viewer says of them.
    enum class Remote { documentation, worldwide };

    /// `addresses`: distinct remote ones at the most, one of five IPv6, up to kMostAddresses.
    Traffic(std::uint64_t seed, std::uint64_t addresses, Remote remote = Remote::documentation);

    LoggedPacket next();

  private:
    IpAddress remoteAddress(bool v6);
    IpAddress localAddress(bool v6);
    void choosePorts(LoggedPacket& packet);
    void chooseRule(LoggedPacket& packet);

    Random random_;
    const Remote remote_;
    std::uint64_t remoteV4_;
    std::uint64_t remoteV6_;
};

} // namespace brindle::bench
