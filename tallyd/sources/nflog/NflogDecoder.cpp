// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/sources/nflog/NflogDecoder.h"

#include "tallyd/sources/ip/IpPacket.h"

#include <algorithm>
#include <utility>

namespace brindle::tallyd {

namespace {

enum Attribute : std::uint16_t {
    kPacketHeader = 1,
    kIndexIn = 4,
    kIndexOut = 5,
    kPhysicalIn = 6,
    kPhysicalOut = 7,
    kPayload = 9,
    kPrefix = 10,
    kUid = 11,
    kSequence = 12,
};

constexpr std::string_view kCutShort = "cut short within the log header";
constexpr std::string_view kBadVersion = "log header version is not known";
constexpr std::string_view kBadFamily = "address family is not IP";
constexpr std::size_t kHeader = 4;
constexpr std::size_t kAttributeHeader = 4;

/// The attributes a record needs, as views into the packet.
struct Attributes {
    std::uint16_t protocol = 0; ///< an Ethernet type, 0 for local output
    std::uint8_t hook = 0;
    std::uint32_t indexIn = 0;
    std::uint32_t indexOut = 0;
    std::uint32_t physicalIn = 0;
    std::uint32_t physicalOut = 0;
    std::uint32_t uid = kNoUid;
    std::optional<std::uint32_t> sequence;
    std::string_view prefix;
    PacketBytes payload;
};

std::string_view trimmedText(PacketBytes value) {
    std::string_view text(reinterpret_cast<const char*>(value.data()), value.size());
    text = text.substr(0, text.find('\0'));
    const auto first = text.find_first_not_of(" \t\r\n");
    if (first == text.npos)
        return {};
    return text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

void readAttribute(std::uint16_t type, PacketBytes value, Attributes& attributes) {
    const auto number = [value](std::uint32_t& to) {
        if (value.size() >= 4)
            to = bigEndian32(value, 0);
    };
    switch (type) {
    case kPacketHeader:
        if (value.size() >= 3) {
            attributes.protocol = bigEndian16(value, 0);
            attributes.hook = value[2];
        }
        break;
    case kIndexIn:
        return number(attributes.indexIn);
    case kIndexOut:
        return number(attributes.indexOut);
    case kPhysicalIn:
        return number(attributes.physicalIn);
    case kPhysicalOut:
        return number(attributes.physicalOut);
    case kUid:
        return number(attributes.uid);
    case kSequence:
        if (value.size() >= 4)
            attributes.sequence = bigEndian32(value, 0);
        break;
    case kPrefix:
        attributes.prefix = trimmedText(value);
        break;
    case kPayload:
        attributes.payload = value;
        break;
    default:
        break;
    }
}

Attributes readAttributes(PacketBytes rest) {
    Attributes attributes;
    while (rest.size() >= kAttributeHeader) {
        // libpcap has turned both into this machine's order.
        const std::size_t length = hostOrder<std::uint16_t>(rest, 0);
        const std::uint16_t type = hostOrder<std::uint16_t>(rest, 2);
        if (length < kAttributeHeader)
            break;
        const std::size_t there = std::min(length, rest.size());
        readAttribute(type, rest.subspan(kAttributeHeader, there - kAttributeHeader), attributes);
        rest = rest.subspan(std::min((length + 3) & ~std::size_t{3}, rest.size()));
    }
    return attributes;
}

/// Whether a packet logged in this family can be IP: in bridge, netdev and mixed tables the
/// Ethernet type tells.
bool isIpFamily(std::uint8_t family, std::uint16_t protocol) {
    constexpr std::uint8_t kInet = 1, kIpv4 = 2, kNetdev = 5, kBridge = 7, kIpv6 = 10;
    if (family == kInet || family == kNetdev || family == kBridge)
        return protocol == 0x0800 || protocol == 0x86DD;
    return family == kIpv4 || family == kIpv6;
}

} // namespace

tl::expected<PacketRecord, std::string_view> NflogDecoder::decode(PacketBytes packet,
                                                                  std::int64_t timeMicros) {
    if (packet.size() < kHeader)
        return tl::unexpected(kCutShort);
    if (packet[1] != 0)
        return tl::unexpected(kBadVersion);

    const Attributes attributes = readAttributes(packet.subspan(kHeader));
    if (attributes.sequence)
        followSequence(*attributes.sequence);
    if (!isIpFamily(packet[0], attributes.protocol))
        return tl::unexpected(kBadFamily);
    const auto fields = readIpPacket(attributes.payload);
    if (!fields)
        return tl::unexpected(fields.error());

    constexpr std::uint8_t kOutput = 3, kPostrouting = 4;
    const bool outbound = attributes.hook == kOutput || attributes.hook == kPostrouting;
    const std::uint32_t index = outbound ? attributes.indexOut : attributes.indexIn;
    const std::uint32_t physical = outbound ? attributes.physicalOut : attributes.physicalIn;

    PacketRecord record;
    record.timeMicros = timeMicros;
    record.uid = attributes.uid;
    record.direction = outbound ? Direction::out : Direction::in;
    record.action = actions_.of(attributes.prefix);
    record.rule = attributes.prefix;
    record.interface = interfaces_.name(index != 0 ? index : physical, timeMicros);
    setIpFields(record, *fields);
    return record;
}

void NflogDecoder::followSequence(std::uint32_t sequence) {
    if (lastSequence_) {
        // A gap beyond half the range is a number that went back: a new group, not a loss.
        const std::uint32_t gap = sequence - *lastSequence_ - 1;
        if (gap < 0x80000000u)
            missed_ += gap;
    }
    lastSequence_ = sequence;
}

std::uint64_t NflogDecoder::takeMissed() {
    return std::exchange(missed_, 0);
}

} // namespace brindle::tallyd
