// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/sources/ip/IpPacket.h"

#include "tallyd/sources/ip/ProtocolNames.h"

#include <algorithm>

namespace brindle::tallyd {

namespace {

enum Protocol : std::uint8_t {
    kHopByHop = 0,
    kTcp = 6,
    kUdp = 17,
    kDccp = 33,
    kRouting = 43,
    kFragment = 44,
    kAuthentication = 51,
    kNoNextHeader = 59,
    kDestinationOptions = 60,
    kSctp = 132,
    kMobility = 135,
    kUdpLite = 136,
    kHostIdentity = 139,
    kShim6 = 140,
};

constexpr std::string_view kCutShort = "cut short before the addresses";
constexpr std::string_view kNotIp = "not an IP packet";
constexpr std::size_t kIpv4Header = 20;
constexpr std::size_t kIpv6Header = 40;

bool hasPorts(std::uint8_t protocol) {
    return protocol == kTcp || protocol == kUdp || protocol == kSctp || protocol == kDccp ||
           protocol == kUdpLite;
}

void readPorts(PacketBytes transport, IpFields& fields) {
    if (!hasPorts(fields.protocol))
        return;
    if (transport.size() >= 2)
        fields.srcport = bigEndian16(transport, 0);
    if (transport.size() >= 4)
        fields.dstport = bigEndian16(transport, 2);
}

IpFields readIpv4(PacketBytes packet) {
    IpFields fields;
    fields.src = IpAddress::fromBytes(packet.subspan(12, 4));
    fields.dst = IpAddress::fromBytes(packet.subspan(16, 4));
    fields.protocol = packet[9];

    const std::size_t header = (packet[0] & 0x0Fu) * 4u;
    const bool laterFragment = (bigEndian16(packet, 6) & 0x1FFF) != 0;
    if (header < kIpv4Header || header > packet.size() || laterFragment)
        return fields;
    // What follows the packet's own end is padding. A length below the header's says nothing: it is
    // 0 where the network card does the segmentation.
    const std::size_t total = bigEndian16(packet, 2);
    if (total >= header)
        packet = packet.first(std::min(total, packet.size()));
    readPorts(packet.subspan(header), fields);
    return fields;
}

/// Length of an extension header that starts `header`, 0 when `protocol` is none that is walked.
std::size_t extensionLength(std::uint8_t protocol, PacketBytes header) {
    switch (protocol) {
    case kHopByHop:
    case kRouting:
    case kDestinationOptions:
    case kMobility:
    case kHostIdentity:
    case kShim6:
        return (header[1] + 1u) * 8u;
    case kFragment:
        return 8;
    case kAuthentication:
        return (header[1] + 2u) * 4u;
    default:
        return 0;
    }
}

/// Mobility, host identity and shim headers may also be all that a packet carries.
bool isPayloadOfItsOwn(std::uint8_t protocol) {
    return protocol == kMobility || protocol == kHostIdentity || protocol == kShim6;
}

IpFields readIpv6(PacketBytes packet) {
    IpFields fields;
    fields.src = IpAddress::fromBytes(packet.subspan(8, 16));
    fields.dst = IpAddress::fromBytes(packet.subspan(24, 16));
    fields.protocol = packet[6];

    // A payload length of 0 announces a jumbogram.
    const std::size_t payload = bigEndian16(packet, 4);
    PacketBytes rest = packet.subspan(kIpv6Header);
    if (payload > 0)
        rest = rest.first(std::min(payload, rest.size()));

    while (rest.size() >= 2) {
        const std::size_t length = extensionLength(fields.protocol, rest);
        if (length == 0)
            break;
        const std::uint8_t next = rest[0];
        if (next == kNoNextHeader && isPayloadOfItsOwn(fields.protocol))
            return fields;
        if (fields.protocol == kFragment) {
            if (rest.size() < 4)
                return fields;
            if ((bigEndian16(rest, 2) & 0xFFF8) != 0) {
                fields.protocol = next;
                return fields;
            }
        }
        fields.protocol = next;
        rest = rest.subspan(std::min(length, rest.size()));
    }
    readPorts(rest, fields);
    return fields;
}

} // namespace

tl::expected<IpFields, std::string_view> readIpPacket(PacketBytes packet) {
    if (packet.empty())
        return tl::unexpected(kCutShort);
    const unsigned version = packet[0] >> 4;
    if (version != 4 && version != 6)
        return tl::unexpected(kNotIp);
    if (packet.size() < (version == 4 ? kIpv4Header : kIpv6Header))
        return tl::unexpected(kCutShort);
    return version == 4 ? readIpv4(packet) : readIpv6(packet);
}

void setIpFields(PacketRecord& record, const IpFields& fields) {
    record.src = fields.src;
    record.dst = fields.dst;
    record.srcport = fields.srcport;
    record.dstport = fields.dstport;
    record.proto = protocolName(fields.protocol);
}

} // namespace brindle::tallyd
