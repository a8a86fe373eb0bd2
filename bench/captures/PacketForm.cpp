// SPDX-License-Identifier: BSD-2-Clause
#include "bench/captures/PacketForm.h"

#include <algorithm>

namespace brindle::bench {

namespace {

constexpr std::size_t kNameSize = 16;
constexpr std::uint32_t kNone = 0xFFFFFFFF;

std::uint16_t transportSize(const LoggedPacket& packet) {
    if (packet.laterFragment)
        return 0;
    return packet.protocol == 6 ? 20 : 8;
}

/// Ones' complement sum over `bytes` from `first`, as the IPv4 header carries it.
std::uint16_t checksum(const std::vector<std::uint8_t>& bytes, std::size_t first) {
    std::uint32_t sum = 0;
    for (std::size_t i = first; i + 1 < bytes.size(); i += 2)
        sum += static_cast<std::uint32_t>(bytes[i] << 8 | bytes[i + 1]);
    while (sum >> 16)
        sum = (sum & 0xFFFF) + (sum >> 16);
    return static_cast<std::uint16_t>(~sum);
}

void appendTransport(Bytes& bytes, const LoggedPacket& packet) {
    if (packet.laterFragment)
        return;
    switch (packet.protocol) {
    case 6: // a connection's first packet
        bytes.big16(packet.srcport);
        bytes.big16(packet.dstport);
        bytes.big32(packet.srcport * 65539u);
        bytes.big32(0);
        bytes.big32(0x50024000);
        bytes.big32(0);
        return;
    case 17:
        bytes.big16(packet.srcport);
        bytes.big16(packet.dstport);
        bytes.big16(static_cast<std::uint16_t>(8 + packet.payload));
        bytes.big16(0);
        return;
    case 50: // security parameters and a sequence number
        bytes.big32(0x1001);
        bytes.big32(packet.rule);
        return;
    default: // echo request
        bytes.number8(packet.protocol == 58 ? 128 : 8);
        bytes.zeros(7);
        return;
    }
}

void appendIpPacket(Bytes& bytes, const LoggedPacket& packet) {
    const auto content = static_cast<std::uint16_t>(transportSize(packet) + packet.payload);
    if (packet.src.family() == IpAddress::Family::v4) {
        const std::size_t start = bytes.bytes().size();
        bytes.big16(0x4500);
        bytes.big16(static_cast<std::uint16_t>(20 + content));
        bytes.big16(packet.srcport);                      // identification
        bytes.big16(packet.laterFragment ? 185 : 0x4000); // an offset, or "do not fragment"
        bytes.number8(57);
        bytes.number8(packet.protocol);
        bytes.big16(0);
        bytes.address(packet.src);
        bytes.address(packet.dst);
        const std::uint16_t sum = checksum(bytes.bytes(), start);
        bytes.bytes()[start + 10] = static_cast<std::uint8_t>(sum >> 8);
        bytes.bytes()[start + 11] = static_cast<std::uint8_t>(sum);
    } else {
        bytes.big32(0x60000000);
        bytes.big16(static_cast<std::uint16_t>(content + (packet.laterFragment ? 8 : 0)));
        bytes.number8(packet.laterFragment ? 44 : packet.protocol);
        bytes.number8(57);
        bytes.address(packet.src);
        bytes.address(packet.dst);
        if (packet.laterFragment) {
            bytes.number8(packet.protocol);
            bytes.number8(0);
            bytes.big16(1480);
            bytes.big32(packet.srcport);
        }
    }
    appendTransport(bytes, packet);
    bytes.zeros(packet.payload);
}

std::uint8_t ipv6Family(CaptureKind kind) {
    if (kind == CaptureKind::darwin)
        return 30;
    return kind == CaptureKind::freebsd || kind == CaptureKind::freebsd13 ? 28 : 24;
}

std::uint8_t familyOf(const LoggedPacket& packet, CaptureKind kind) {
    return packet.src.family() == IpAddress::Family::v4 ? 2 : ipv6Family(kind);
}

/// What a system writes for a packet without a socket.
std::uint32_t uidOf(const LoggedPacket& packet, CaptureKind kind) {
    if (packet.hasUid)
        return packet.uid;
    return kind == CaptureKind::darwin || kind == CaptureKind::netbsd ? 0x7FFFFFFF : kNone;
}

void appendPflog(Bytes& bytes, const LoggedPacket& packet, CaptureKind kind) {
    const bool hasUid = kind != CaptureKind::openbsd34;
    const std::uint8_t direction = packet.outbound ? 2 : 1;

    bytes.number8(kind == CaptureKind::openbsd     ? 100
                  : kind == CaptureKind::openbsd34 ? 45
                  : kind == CaptureKind::freebsd13 ? 69
                                                   : 61);
    bytes.number8(familyOf(packet, kind));
    bytes.number8(packet.block ? 1 : 0);
    bytes.number8(packet.reason);
    bytes.text(packet.interface, kNameSize);
    bytes.text(packet.anchor, kNameSize);
    bytes.big32(packet.rule);
    bytes.big32(packet.anchor.empty() ? kNone : packet.subrule);
    if (hasUid) {
        bytes.own32(uidOf(packet, kind));
        bytes.own32(packet.hasUid ? 1200 + packet.uid : 0); // the process
        bytes.own32(0);                                     // who loaded the rules
        bytes.own32(411);
    }
    bytes.number8(direction);
    if (kind == CaptureKind::openbsd) {
        bytes.number8(0); // not translated
        bytes.number8(familyOf(packet, kind));
        bytes.number8(0);
        for (const IpAddress& address : {packet.src, packet.dst}) {
            bytes.address(address);
            bytes.zeros(16 - address.bytes().size());
        }
        bytes.big16(packet.srcport);
        bytes.big16(packet.dstport);
    } else {
        bytes.zeros(3);
        if (kind == CaptureKind::freebsd13) {
            bytes.big32(0); // the rule's own identifier
            bytes.zeros(4);
        }
    }
    appendIpPacket(bytes, packet);
}

void appendOldPflog(Bytes& bytes, const LoggedPacket& packet) {
    bytes.big32(familyOf(packet, CaptureKind::old17));
    bytes.text(packet.interface, kNameSize);
    bytes.big16(static_cast<std::uint16_t>(packet.rule));
    bytes.big16(packet.reason);
    bytes.big16(packet.block ? 1 : 0);
    bytes.big16(packet.outbound ? 1 : 0);
    appendIpPacket(bytes, packet);
}

/// The start of an NFLOG attribute; its value follows, then `padTo4`.
void startAttribute(Bytes& bytes, std::uint16_t type, std::size_t valueSize) {
    bytes.own16(static_cast<std::uint16_t>(4 + valueSize));
    bytes.own16(type);
}

void padTo4(Bytes& bytes, std::size_t valueSize) {
    bytes.zeros((4 - valueSize % 4) % 4);
}

void appendNflog(Bytes& bytes, const LoggedPacket& packet, std::uint32_t sequence) {
    const bool isV4 = packet.src.family() == IpAddress::Family::v4;
    bytes.number8(isV4 ? 2 : 10);
    bytes.number8(0);
    bytes.big16(5); // group

    startAttribute(bytes, 1, 4);
    bytes.big16(packet.outbound ? 0 : isV4 ? 0x0800 : 0x86DD);
    bytes.number8(packet.outbound ? 3 : 1);
    bytes.number8(0);

    std::string prefix = packet.block ? "[LAN BLOCK] " : "[LAN ALLOW] ";
    prefix += std::to_string(packet.rule);
    startAttribute(bytes, 10, prefix.size() + 1);
    bytes.text(prefix, prefix.size() + 1);
    padTo4(bytes, prefix.size() + 1);

    startAttribute(bytes, packet.outbound ? 5 : 4, 4);
    bytes.big32(packet.interface == "lo0" ? 1 : packet.interface == "em0" ? 2 : 3);
    if (packet.hasUid && packet.outbound)
        for (const std::uint16_t type : {std::uint16_t{11}, std::uint16_t{14}}) {
            startAttribute(bytes, type, 4);
            bytes.big32(packet.uid);
        }
    startAttribute(bytes, 12, 4);
    bytes.big32(sequence);

    // The length is known only when the packet has been written.
    const std::size_t start = bytes.bytes().size();
    startAttribute(bytes, 9, 0);
    appendIpPacket(bytes, packet);
    const std::size_t valueSize = bytes.bytes().size() - start - 4;
    Bytes length(bytes.order());
    length.own16(static_cast<std::uint16_t>(4 + valueSize));
    std::copy(length.bytes().begin(), length.bytes().end(),
              bytes.bytes().begin() + static_cast<std::ptrdiff_t>(start));
    padTo4(bytes, valueSize);
}

} // namespace

void Bytes::big16(std::uint16_t value) {
    bytes_.push_back(static_cast<std::uint8_t>(value >> 8));
    bytes_.push_back(static_cast<std::uint8_t>(value));
}

void Bytes::big32(std::uint32_t value) {
    big16(static_cast<std::uint16_t>(value >> 16));
    big16(static_cast<std::uint16_t>(value));
}

void Bytes::own16(std::uint16_t value) {
    big16(order_ == FileOrder::bigEndian ? value
                                         : static_cast<std::uint16_t>(value << 8 | value >> 8));
}

void Bytes::own32(std::uint32_t value) {
    const auto low = static_cast<std::uint16_t>(value);
    const auto high = static_cast<std::uint16_t>(value >> 16);
    own16(order_ == FileOrder::bigEndian ? high : low);
    own16(order_ == FileOrder::bigEndian ? low : high);
}

void Bytes::address(const IpAddress& address) {
    const auto bytes = address.bytes();
    bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
}

void Bytes::text(const std::string& text, std::size_t size) {
    const std::size_t used = std::min(text.size(), size);
    bytes_.insert(bytes_.end(), text.begin(), text.begin() + static_cast<std::ptrdiff_t>(used));
    zeros(size - used);
}

void appendLogPacket(Bytes& bytes, const LoggedPacket& packet, CaptureKind kind,
                     std::uint32_t sequence) {
    if (kind == CaptureKind::nflog)
        appendNflog(bytes, packet, sequence);
    else if (kind == CaptureKind::old17)
        appendOldPflog(bytes, packet);
    else
        appendPflog(bytes, packet, kind);
}

std::uint32_t linkTypeOf(CaptureKind kind) {
    if (kind == CaptureKind::nflog)
        return 239;
    return kind == CaptureKind::old17 ? 17 : 117;
}

} // namespace brindle::bench
