// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/sources/pflog/PflogDecoder.h"

#include "tallyd/sources/ip/IpPacket.h"

#include <string>

namespace brindle::tallyd {

namespace {

// Offsets within the header of link type 117.
constexpr std::size_t kFamily = 1;
constexpr std::size_t kAction = 2;
constexpr std::size_t kInterface = 4;
constexpr std::size_t kAnchor = 20;
constexpr std::size_t kNameSize = 16;
constexpr std::size_t kRule = 36;
constexpr std::size_t kSubrule = 40;
constexpr std::size_t kUid = 44;
constexpr std::size_t kDirectionAfterUid = 60;
constexpr std::size_t kDirectionWithoutUid = 44;
constexpr std::uint8_t kShortestHeader = 45; // OpenBSD 3.4
constexpr std::uint8_t kShortestWithUid = 61;
constexpr std::uint32_t kNoSubrule = 0xFFFFFFFF;

// Offsets within the header of link type 17.
constexpr std::size_t kOldInterface = 4;
constexpr std::size_t kOldRule = 20;
constexpr std::size_t kOldAction = 24;
constexpr std::size_t kOldDirection = 26;
constexpr std::size_t kOldHeader = 28;

constexpr std::string_view kCutShort = "cut short within the log header";
constexpr std::string_view kBadLength = "log header length is wrong";
constexpr std::string_view kBadFamily = "address family is not IP";

bool isIpFamily(std::uint32_t family) {
    // IPv4 everywhere; IPv6 on OpenBSD and NetBSD, FreeBSD and DragonFly, Darwin.
    return family == 2 || family == 24 || family == 28 || family == 30;
}

Action verdict(std::uint32_t action) {
    constexpr std::uint32_t kBlock = 1;
    constexpr std::uint32_t kSynproxyDrop = 10;
    return action == kBlock || action == kSynproxyDrop ? Action::block : Action::pass;
}

Direction directionOf(std::uint8_t direction) {
    constexpr std::uint8_t kOut = 2;
    constexpr std::uint8_t kForward = 3;
    return direction == kOut || direction == kForward ? Direction::out : Direction::in;
}

std::string_view paddedName(PacketBytes packet, std::size_t offset) {
    const std::string_view field(reinterpret_cast<const char*>(packet.data() + offset), kNameSize);
    return field.substr(0, field.find('\0'));
}

std::string ruleText(PacketBytes packet) {
    std::string text = std::to_string(bigEndian32(packet, kRule));
    const std::uint32_t subrule = bigEndian32(packet, kSubrule);
    if (subrule != kNoSubrule) {
        text += '.';
        text += paddedName(packet, kAnchor);
        text += '.';
        text += std::to_string(subrule);
    }
    return text;
}

/// The old header's numbers are in network order; a writer of the other order is known by its
/// family.
std::uint16_t oldNumber(PacketBytes packet, std::size_t offset, bool bigEndian) {
    const std::uint16_t number = bigEndian16(packet, offset);
    return bigEndian ? number : static_cast<std::uint16_t>(number << 8 | number >> 8);
}

} // namespace

tl::expected<PacketRecord, std::string_view> PflogDecoder::decode(PacketBytes packet,
                                                                  std::int64_t timeMicros) {
    if (packet.empty())
        return tl::unexpected(kCutShort);
    const std::uint8_t length = packet[0];
    if (length < kShortestHeader)
        return tl::unexpected(kBadLength);
    const std::size_t payload = (length + 3u) & ~std::size_t{3};
    if (packet.size() < payload)
        return tl::unexpected(kCutShort);
    if (!isIpFamily(packet[kFamily]))
        return tl::unexpected(kBadFamily);

    const auto fields = readIpPacket(packet.subspan(payload));
    if (!fields)
        return tl::unexpected(fields.error());

    PacketRecord record;
    record.timeMicros = timeMicros;
    record.action = verdict(packet[kAction]);
    record.interface = paddedName(packet, kInterface);
    record.rule = ruleText(packet);
    if (length >= kShortestWithUid) {
        // In the order of the capturing host, which libpcap has already turned into ours.
        record.uid = hostOrder<std::uint32_t>(packet, kUid);
        record.direction = directionOf(packet[kDirectionAfterUid]);
    } else {
        record.direction = directionOf(packet[kDirectionWithoutUid]);
    }
    setIpFields(record, *fields);
    return record;
}

tl::expected<PacketRecord, std::string_view> OldPflogDecoder::decode(PacketBytes packet,
                                                                     std::int64_t timeMicros) {
    if (packet.size() < kOldHeader)
        return tl::unexpected(kCutShort);
    const std::uint32_t family = bigEndian32(packet, 0);
    const bool bigEndian = isIpFamily(family);
    if (!bigEndian && !((family & 0xFFFFFF) == 0 && isIpFamily(family >> 24)))
        return tl::unexpected(kBadFamily);

    const auto fields = readIpPacket(packet.subspan(kOldHeader));
    if (!fields)
        return tl::unexpected(fields.error());

    PacketRecord record;
    record.timeMicros = timeMicros;
    record.action = verdict(oldNumber(packet, kOldAction, bigEndian));
    record.direction =
        oldNumber(packet, kOldDirection, bigEndian) == 1 ? Direction::out : Direction::in;
    record.interface = paddedName(packet, kOldInterface);
    record.rule = std::to_string(oldNumber(packet, kOldRule, bigEndian));
    setIpFields(record, *fields);
    return record;
}

} // namespace brindle::tallyd
