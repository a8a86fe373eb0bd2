// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/sources/ip/IpPacket.h"

#include "tallyd/sources/ip/ProtocolNames.h"
#include "tests/tallyd/sources/Hex.h"

#include <gtest/gtest.h>
#include <netdb.h>

namespace brindle::tallyd {
namespace {

const std::string kAddresses6 = "20010db8 00000000 00000000 00000001"
                                "20010db8 00000000 00000000 00000002";
const std::string kTcp = "c001 0050 00000000 00000000 5002 4000 0000 0000";

/// "192.0.2.1 1 > 192.0.2.2 2 tcp", or the reason.
std::string summary(PacketBytes packet) {
    const auto fields = readIpPacket(packet);
    if (!fields)
        return std::string(fields.error());
    PacketRecord record;
    setIpFields(record, *fields);
    return record.src.text() + " " + std::to_string(record.srcport) + " > " + record.dst.text() +
           " " + std::to_string(record.dstport) + " " + record.proto;
}

struct Case {
    const char* what;
    std::string packet;
    const char* expected;
};

TEST(IpPacket, PortsAndProtocolAreReadThroughEveryHeader) {
    // version, payload length, next header; the first extension header follows the addresses
    const auto v6 = [](const std::string& payloadLength, const std::string& next) {
        return "60000000" + payloadLength + next + "40" + kAddresses6;
    };
    const std::string ends6 = "2001:db8::1 49153 > 2001:db8::2 80 tcp";
    const Case cases[] = {
        {"plain IPv4", "45000028 00004000 4006 0000 c0000201 c0000202" + kTcp,
         "192.0.2.1 49153 > 192.0.2.2 80 tcp"},
        {"IPv4 options", "46000028 00000000 4006 0000 c0000201 c0000202 01010100" + kTcp,
         "192.0.2.1 49153 > 192.0.2.2 80 tcp"},
        {"first fragment", "45000028 00002000 4011 0000 c0000201 c0000202" + kTcp,
         "192.0.2.1 49153 > 192.0.2.2 80 udp"},
        {"later fragment", "45000028 000020b9 4011 0000 c0000201 c0000202" + kTcp,
         "192.0.2.1 0 > 192.0.2.2 0 udp"},
        {"padding behind the packet", "45000014 00000000 4006 0000 c0000201 c0000202" + kTcp,
         "192.0.2.1 0 > 192.0.2.2 0 tcp"},
        {"total length left to the network card",
         "45000000 00000000 4006 0000 c0000201 c0000202" + kTcp,
         "192.0.2.1 49153 > 192.0.2.2 80 tcp"},
        {"header length below the least", "44000028 00000000 4006 0000 c0000201 c0000202" + kTcp,
         "192.0.2.1 0 > 192.0.2.2 0 tcp"},
        {"header length beyond the packet", "4f000028 00000000 4006 0000 c0000201 c0000202" + kTcp,
         "192.0.2.1 0 > 192.0.2.2 0 tcp"},
        {"protocol without ports", "45000028 00000000 4032 0000 c0000201 c0000202" + kTcp,
         "192.0.2.1 0 > 192.0.2.2 0 esp"},
        {"protocol without name", "45000028 00000000 40c8 0000 c0000201 c0000202" + kTcp,
         "192.0.2.1 0 > 192.0.2.2 0 200"},
        {"cut between the ports", "45000028 00000000 4006 0000 c0000201 c0000202 c001",
         "192.0.2.1 49153 > 192.0.2.2 0 tcp"},
        {"cut before the destination ends", "45000028 00000000 4006 0000 c0000201 c00002",
         "cut short before the addresses"},
        {"plain IPv6", v6("0014", "06") + kTcp, ends6.c_str()},
        {"hop-by-hop, routing, destination options, authentication",
         v6("0044", "00") + "2b00 010400000000" + "3c02 0000 00000000" + std::string(32, '0') +
             "3300 010400000000" + "0602 0000 00000001 00000001 deadbeef" + kTcp,
         ends6.c_str()},
        {"jumbogram", v6("0000", "06") + kTcp, ends6.c_str()},
        {"first fragment", v6("001c", "2c") + "0600 0001 00000007" + kTcp, ends6.c_str()},
        {"later fragment", v6("001c", "2c") + "0600 05c8 00000007" + kTcp,
         "2001:db8::1 0 > 2001:db8::2 0 tcp"},
        {"mobility as the packet's content", v6("0008", "87") + "3b00 000000000000",
         "2001:db8::1 0 > 2001:db8::2 0 mobility-header"},
        {"ICMPv6", v6("0008", "3a") + "8000 0000 00010001",
         "2001:db8::1 0 > 2001:db8::2 0 ipv6-icmp"},
        {"extension header that claims more than is there",
         v6("0010", "3c") + "06ff 010400000000" + kTcp, "2001:db8::1 0 > 2001:db8::2 0 tcp"},
        {"neither version", "50000000" + kTcp, "not an IP packet"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(summary(hex(c.packet)), c.expected) << c.what;
}

TEST(IpPacket, NothingIsReadBeyondACutPacket) {
    const auto whole =
        hex("60000000 0044 00 40" + kAddresses6 + "2c00 010400000000" + "3300 0001 00000007" +
            "8702 0000 00000001 00000001 deadbeef" + "0600 000000000000" + kTcp);
    EXPECT_EQ(summary(whole), "2001:db8::1 49153 > 2001:db8::2 80 tcp");
    forEveryCut(whole, [](PacketBytes cut) {
        const auto fields = readIpPacket(cut);
        EXPECT_EQ(fields.has_value(), cut.size() >= 40) << cut.size();
    });
    forEveryCut(hex("4f00003c 00000000 4006 0000 c0000201 c0000202" + std::string(80, '1') + kTcp),
                [](PacketBytes cut) {
                    EXPECT_EQ(readIpPacket(cut).has_value(), cut.size() >= 20) << cut.size();
                });
}

TEST(ProtocolNames, AgreeWithTheSystemsTable) {
    for (int number = 0; number < 256; ++number) {
        const protoent* entry = getprotobynumber(number);
        EXPECT_EQ(protocolName(static_cast<std::uint8_t>(number)),
                  entry ? entry->p_name : std::to_string(number));
    }
}

TEST(ProtocolNames, TextLogsSpellingsBecomeTheOneSpelling) {
    const std::pair<const char*, const char*> cases[] = {
        {"TCP", "tcp"},         {"ICMPv6", "ipv6-icmp"},
        {"icmp6", "ipv6-icmp"}, {"58", "ipv6-icmp"},
        {"UDPLITE", "udplite"}, {"132", "sctp"},
        {"300", "300"},         {"", ""}};
    for (const auto& [text, name] : cases)
        EXPECT_EQ(protocolNameFromText(text), name) << text;
}

} // namespace
} // namespace brindle::tallyd
