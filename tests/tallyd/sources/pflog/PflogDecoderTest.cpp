// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/sources/pflog/PflogDecoder.h"

#include "tests/tallyd/sources/Hex.h"

#include <array>
#include <cstring>
#include <gtest/gtest.h>

namespace brindle::tallyd {
namespace {

const std::string kUdp4 =
    "45000022 00000000 4011 0000 0a000001 cb007109 3039 0035 000e 0000 00000000";
const std::string kTcp6 =
    "60000000 0014 06 40 20010db8000000000000000000000001"
    "20010db8000000000000000000000002 c000 01bb 0000000000000000 5002400000000000";

std::vector<std::uint8_t> name16(std::string_view name) {
    std::vector<std::uint8_t> bytes(name.begin(), name.end());
    bytes.resize(16);
    return bytes;
}

struct Header {
    std::uint8_t length = 61;
    std::uint8_t family = 2;
    std::uint8_t action = 0;
    std::string_view interface = "em0";
    std::string_view anchor = "";
    const char* rules = "0000000c ffffffff";
    std::uint32_t uid = 0xFFFFFFFF;
    std::uint8_t direction = 1;
};

std::vector<std::uint8_t> pflog(const Header& h, const std::string& payload) {
    std::vector<std::uint8_t> bytes{h.length, h.family, h.action, 0};
    bytes = bytes + name16(h.interface) + name16(h.anchor) + hex(h.rules);
    if (h.length >= 61) {
        std::array<std::uint8_t, 16> users{};
        std::memcpy(users.data(), &h.uid, 4); // libpcap hands it out in this machine's order
        bytes.insert(bytes.end(), users.begin(), users.end());
    }
    bytes.push_back(h.direction);
    bytes.resize((h.length + 3u) & ~3u, 0xEE);
    return bytes + hex(payload);
}

std::string summary(PacketDecoder& decoder, const std::vector<std::uint8_t>& packet) {
    const auto record = decoder.decode(packet, 5);
    if (!record)
        return std::string(record.error());
    return record->rule + " " + std::string(actionText(record->action)) + " " +
           std::string(directionText(record->direction)) + " " + record->interface + " " +
           std::to_string(record->uid) + " " + record->src.text() + ":" +
           std::to_string(record->srcport) + " " + record->dst.text() + ":" +
           std::to_string(record->dstport) + " " + record->proto;
}

TEST(PflogDecoder, HeaderOfEverySystemIsUnderstood) {
    struct Case {
        const char* what;
        Header header;
        const std::string& payload;
        const char* expected;
    };
    const char* const udp = "10.0.0.1:12345 203.0.113.9:53 udp";
    const char* const tcp = "2001:db8::1:49152 2001:db8::2:443 tcp";
    const Case cases[] = {
        {"OpenBSD",
         {.length = 100, .family = 24, .action = 1, .uid = 1000},
         kTcp6,
         "12 block in em0 1000 "},
        {"FreeBSD before 13.1",
         {.family = 28, .uid = 0, .direction = 2},
         kTcp6,
         "12 pass out em0 0 "},
        {"FreeBSD 13.1", {.length = 69, .family = 28}, kTcp6, "12 pass in em0 4294967295 "},
        {"Darwin", {.family = 30, .uid = 0x7FFFFFFF}, kTcp6, "12 pass in em0 2147483647 "},
        {"OpenBSD 3.4 has no uid",
         {.length = 45, .uid = 7, .direction = 2},
         kUdp4,
         "12 pass out em0 4294967295 "},
        {"synproxy drops", {.action = 10}, kUdp4, "12 block in em0 4294967295 "},
        {"nat passes", {.action = 4}, kUdp4, "12 pass in em0 4294967295 "},
        {"divert passes", {.action = 13}, kUdp4, "12 pass in em0 4294967295 "},
        {"both directions", {.direction = 0}, kUdp4, "12 pass in em0 4294967295 "},
        {"forwarded", {.direction = 3}, kUdp4, "12 pass out em0 4294967295 "},
        {"anchor",
         {.anchor = "ftp/proxy", .rules = "00000003 00000002"},
         kUdp4,
         "3.ftp/proxy.2 pass in em0 4294967295 "},
        {"names that fill their field",
         {.interface = "abcdefghijklmnop",
          .anchor = "ABCDEFGHIJKLMNOP",
          .rules = "00000003 00000000"},
         kUdp4,
         "3.ABCDEFGHIJKLMNOP.0 pass in abcdefghijklmnop 4294967295 "},
    };
    PflogDecoder decoder;
    for (const Case& c : cases)
        EXPECT_EQ(summary(decoder, pflog(c.header, c.payload)),
                  c.expected + std::string(&c.payload == &kTcp6 ? tcp : udp))
            << c.what;
}

TEST(PflogDecoder, ForeignHeadersAreToldByReason) {
    PflogDecoder decoder;
    EXPECT_EQ(summary(decoder, pflog({.length = 44}, kUdp4)), "log header length is wrong");
    EXPECT_EQ(summary(decoder, pflog({.family = 17}, kUdp4)), "address family is not IP");
    EXPECT_EQ(summary(decoder, pflog({.length = 255}, "")), "cut short before the addresses");
    EXPECT_EQ(summary(decoder, {255}), "cut short within the log header");
    EXPECT_EQ(summary(decoder, {}), "cut short within the log header");
}

TEST(PflogDecoder, NothingIsReadBeyondACutPacket) {
    PflogDecoder decoder;
    for (const std::uint8_t length : {45, 61, 69, 100, 255}) {
        const auto whole = pflog({.length = length}, kUdp4);
        const std::size_t addresses = whole.size() - hex(kUdp4).size() + 20;
        forEveryCut(whole, [&](PacketBytes cut) {
            EXPECT_EQ(decoder.decode(cut, 0).has_value(), cut.size() >= addresses) << cut.size();
        });
    }
}

TEST(OldPflogDecoder, BothByteOrdersAreUnderstood) {
    OldPflogDecoder decoder;
    const auto big = hex("00000002") + name16("tun0") + hex("0007 0000 0001 0001" + kUdp4);
    const auto little = hex("18000000") + name16("tun0") + hex("0700 0000 0000 0000" + kTcp6);
    EXPECT_EQ(summary(decoder, big),
              "7 block out tun0 4294967295 10.0.0.1:12345 203.0.113.9:53 udp");
    EXPECT_EQ(summary(decoder, little),
              "7 pass in tun0 4294967295 2001:db8::1:49152 2001:db8::2:443 tcp");
    EXPECT_EQ(summary(decoder, hex("02000100") + name16("tun0") + hex("0700000000000000" + kUdp4)),
              "address family is not IP");
    forEveryCut(big, [&](PacketBytes cut) {
        EXPECT_EQ(decoder.decode(cut, 0).has_value(), cut.size() >= 48) << cut.size();
    });
}

} // namespace
} // namespace brindle::tallyd
