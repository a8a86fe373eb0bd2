// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/sources/nflog/NflogDecoder.h"

#include "tests/tallyd/sources/Hex.h"

#include <cstring>
#include <gtest/gtest.h>

namespace brindle::tallyd {
namespace {

const std::string kUdp4 = "4500001c 00000000 4011 0000 0a000001 cb007109 3039 0035 0008 0000";

/// An attribute as libpcap hands it out: length and type in this machine's order.
std::vector<std::uint8_t> attribute(std::uint16_t type, const std::vector<std::uint8_t>& value) {
    std::vector<std::uint8_t> bytes(4);
    const auto length = static_cast<std::uint16_t>(4 + value.size());
    std::memcpy(bytes.data(), &length, 2);
    std::memcpy(bytes.data() + 2, &type, 2);
    bytes = bytes + value;
    bytes.resize((bytes.size() + 3) & ~std::size_t{3});
    return bytes;
}

std::vector<std::uint8_t> prefix(std::string_view text) {
    std::vector<std::uint8_t> value(text.begin(), text.end());
    value.push_back(0);
    return attribute(10, value);
}

std::vector<std::uint8_t> packetHeader(const char* protocol, std::uint8_t hook) {
    return attribute(1, hex(protocol) + std::vector<std::uint8_t>{hook, 0});
}

std::string summary(NflogDecoder& decoder, const std::vector<std::uint8_t>& packet) {
    const auto record = decoder.decode(packet, 5);
    if (!record)
        return std::string(record.error());
    return "\"" + record->rule + "\" " + std::string(actionText(record->action)) + " " +
           std::string(directionText(record->direction)) + " \"" + record->interface + "\" " +
           std::to_string(record->uid) + " " + record->src.text() + ":" +
           std::to_string(record->srcport) + " " + record->dst.text() + ":" +
           std::to_string(record->dstport) + " " + record->proto;
}

const std::vector<std::uint8_t> kIpv4 = hex("0200 0005");
const auto kPayload = attribute(9, hex(kUdp4));
const auto kIndexes = attribute(4, hex("00000007")) + attribute(5, hex("00000009"));
const std::string kEnds = " 10.0.0.1:12345 203.0.113.9:53 udp";

TEST(NflogDecoder, HookTellsDirectionAndInterface) {
    const std::pair<std::uint8_t, const char*> hooks[] = {{0, "in \"if7\""},
                                                          {1, "in \"if7\""},
                                                          {2, "in \"if7\""},
                                                          {3, "out \"if9\""},
                                                          {4, "out \"if9\""}};
    for (const auto& [hook, expected] : hooks) {
        NflogDecoder decoder;
        EXPECT_EQ(summary(decoder, kIpv4 + packetHeader("0800", hook) + kIndexes + kPayload),
                  "\"\" pass " + std::string(expected) + " 4294967295" + kEnds)
            << int(hook);
    }
}

TEST(NflogDecoder, PrefixUidAndIndexesOfAnyOrderAreRead) {
    NflogDecoder decoder;
    EXPECT_EQ(summary(decoder, kIpv4 + kPayload + attribute(14, hex("00000002")) +
                                   attribute(11, hex("0000064c")) + prefix("  [UFW BLOCK] ") +
                                   attribute(77, hex("aabbcc")) + attribute(7, hex("00000003")) +
                                   packetHeader("0000", 3)),
              "\"[UFW BLOCK]\" block out \"if3\" 1612" + kEnds);
    EXPECT_EQ(summary(decoder, hex("0700 0005") + packetHeader("0800", 2) + kPayload),
              "\"\" pass in \"\" 4294967295" + kEnds)
        << "a bridge's IP packet";
}

TEST(NflogDecoder, WhatIsNoPacketIsToldByReason) {
    NflogDecoder decoder;
    EXPECT_EQ(summary(decoder, hex("0700 0005") + packetHeader("0806", 2) + kPayload),
              "address family is not IP");
    EXPECT_EQ(summary(decoder, hex("0201 0005") + kPayload), "log header version is not known");
    EXPECT_EQ(summary(decoder, kIpv4 + prefix("no packet")), "cut short before the addresses");
    // A length below its own four bytes would never move on.
    EXPECT_EQ(summary(decoder, kIpv4 + hex("0000 0000") + kPayload),
              "cut short before the addresses");
    EXPECT_EQ(summary(decoder, kIpv4 + hex("ffff ffff") + kPayload),
              "cut short before the addresses");
}

TEST(NflogDecoder, NothingIsReadBeyondACutPacket) {
    NflogDecoder decoder;
    const auto whole = kIpv4 + packetHeader("0800", 1) + prefix("DROP") + kIndexes +
                       attribute(11, hex("00000001")) + attribute(12, hex("00000001")) + kPayload;
    const std::size_t addresses = whole.size() - 8;
    forEveryCut(whole, [&](PacketBytes cut) {
        EXPECT_EQ(decoder.decode(cut, 0).has_value(), cut.size() >= addresses) << cut.size();
    });
}

TEST(NflogDecoder, SequenceGapsAreCountedAsMissed) {
    NflogDecoder decoder;
    const auto see = [&](const char* sequence) {
        EXPECT_TRUE(decoder.decode(kIpv4 + attribute(12, hex(sequence)) + kPayload, 0));
    };
    see("fffffffe");
    see("ffffffff");
    EXPECT_EQ(decoder.takeMissed(), 0u);
    see("00000002"); // 0 and 1 are missing
    see("00000003");
    see("00000007");
    EXPECT_EQ(decoder.takeMissed(), 5u);
    EXPECT_EQ(decoder.takeMissed(), 0u);
    see("00000000"); // a group that starts again
    EXPECT_EQ(decoder.takeMissed(), 0u);
}

TEST(InterfaceNames, AreAskedAgainAfterASecondAndFallBackToTheIndex) {
    std::string present = "eth0";
    int asked = 0;
    InterfaceNames names([&](std::uint32_t) {
        ++asked;
        return present;
    });
    EXPECT_EQ(names.name(7, 1'000'000), "eth0");
    present = "";
    EXPECT_EQ(names.name(7, 1'999'999), "eth0");
    EXPECT_EQ(asked, 1);
    EXPECT_EQ(names.name(7, 2'000'000), "if7");
    EXPECT_EQ(names.name(0, 2'000'000), "");
    EXPECT_EQ(InterfaceNames::ofThisMachine()(0x7FFFFFFF), "");
}

} // namespace
} // namespace brindle::tallyd
