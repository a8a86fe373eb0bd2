// SPDX-License-Identifier: BSD-2-Clause
//
// The digit-string and the numeric forms of the address toolkit against each other and against the
// C library, on random blocks.
#include "core/net/IpAddress.h"
#include "core/net/IpRange.h"
#include "core/net/KVTools.h"
#include "core/net/NWKIPTools.h"
#include "core/net/VDMatchIP.h"

#include <array>
#include <cstdint>
#include <iterator>
#include <random>
#include <string>

#include <arpa/inet.h>

#include <gtest/gtest.h>

namespace brindle {
namespace {

TEST(AddressRandom, IPV4FormsAgreeWithEachOtherAndTheCLibrary) {
    std::mt19937 random(4);
    for (int i = 0; i < 20000; ++i) {
        const auto network = static_cast<std::uint32_t>(random());
        const unsigned prefix = random() % 33;
        const std::string block = ipv4StringFromNumber(network) + "/" + std::to_string(prefix);
        const std::uint32_t mask = prefix == 0 ? 0 : ~std::uint32_t{0} << (32 - prefix);
        const Ipv4Range range = blockRange(network, prefix);

        ASSERT_EQ(range, (Ipv4Range{network & mask, network | ~mask})) << block;
        ASSERT_EQ(matchRange(block), range) << block;
        ASSERT_EQ(NWKIPTools().rangeFromIPV4cidr(block),
                  prefix < 32 ? std::optional(range) : std::nullopt)
            << block;

        // An address that differs from the network in one random bit, so that both answers occur.
        const std::uint32_t address = network ^ 1u << random() % 32;
        char text[INET_ADDRSTRLEN];
        in_addr raw{htonl(address)};
        inet_ntop(AF_INET, &raw, text, sizeof text);
        ASSERT_EQ(ipv4StringFromNumber(address), text);
        ASSERT_EQ(NWKIPTools().ipv4intconverter(text), address);
        ASSERT_EQ(VDMatchIP().matchIP(text, block), ((address ^ network) & mask) == 0) << block;
    }
}

TEST(AddressRandom, IPv6TextsAreThoseOfTheCLibrary) {
    std::mt19937 random(6);
    for (int i = 0; i < 200000; ++i) {
        // Groups of few values, so that runs of zeros and embedded IPv4 addresses occur.
        std::array<std::uint8_t, 16> bytes{};
        for (std::size_t group = 0; group < 8; ++group) {
            const unsigned values[] = {0,
                                       0,
                                       0,
                                       0xFFFF,
                                       static_cast<unsigned>(random() % 65536),
                                       static_cast<unsigned>(random() % 16)};
            const unsigned value = values[random() % std::size(values)];
            bytes[2 * group] = static_cast<std::uint8_t>(value >> 8);
            bytes[2 * group + 1] = static_cast<std::uint8_t>(value);
        }
        char text[INET6_ADDRSTRLEN];
        inet_ntop(AF_INET6, bytes.data(), text, sizeof text);
        ASSERT_EQ(IpAddress::fromBytes(bytes).text(), text);
    }
    for (const char* text : {"::", "::1", "1::", "::ffff:192.0.2.1", "::192.0.2.1",
                             "::ffff:0:192.0.2.1", "2001:db8::1:0:0:1", "1:0:0:2::3"}) {
        std::array<std::uint8_t, 16> bytes{};
        ASSERT_EQ(inet_pton(AF_INET6, text, bytes.data()), 1);
        char expected[INET6_ADDRSTRLEN];
        inet_ntop(AF_INET6, bytes.data(), expected, sizeof expected);
        EXPECT_EQ(IpAddress::fromBytes(bytes).text(), expected);
    }
}

TEST(AddressRandom, LooseTextIsReadAsTheCLibraryReadsIt) {
    std::mt19937 random(5);
    const std::string letters = "0011278xa.... ";
    int valid = 0;
    for (int i = 0; i < 200000; ++i) {
        std::string text;
        for (std::size_t length = random() % 12; length > 0; --length)
            text += letters[random() % letters.size()];
        in_addr raw{};
        const bool expected = inet_aton(text.c_str(), &raw) != 0;
        valid += expected;
        ASSERT_EQ(ipv4NumberLoose(text),
                  expected ? std::optional<std::uint32_t>(ntohl(raw.s_addr)) : std::nullopt)
            << text;
        if (const auto quad = canonicalQuad(text)) {
            ASSERT_EQ(ipv4StringFromNumber(*quad), text);
        }
        const bool block = text.find_first_not_of("0123456789./") == text.npos;
        in_addr network{};
        ASSERT_EQ(VDMatchIP().validateIPV4cidr(text + "/8"),
                  block && inet_net_pton(AF_INET, (text + "/8").c_str(), &network, 4) != -1)
            << text;
    }
    EXPECT_GT(valid, 1000) << "the texts hit too few addresses to prove anything";
    EXPECT_EQ(ipv4NumberLoose("1.2.3.4" + std::string(100, ' ')), 0x01020304u);
    EXPECT_EQ(ipv4NumberLoose("0x" + std::string(100, '0') + "1"), 1u);
}

TEST(AddressRandom, IPV6FormsAgreeWithEachOtherAndTheCLibrary) {
    std::mt19937 random(6);
    for (int i = 0; i < 20000; ++i) {
        Ipv6Groups network{};
        for (auto& group : network)
            group = static_cast<std::uint16_t>(random() % 3 ? random() : 0);
        const unsigned prefix = random() % 129;
        in6_addr raw{};
        for (std::size_t g = 0; g < 8; ++g) {
            raw.s6_addr[2 * g] = static_cast<std::uint8_t>(network[g] >> 8);
            raw.s6_addr[2 * g + 1] = static_cast<std::uint8_t>(network[g]);
        }
        char text[INET6_ADDRSTRLEN];
        inet_ntop(AF_INET6, &raw, text, sizeof text);
        ASSERT_EQ(ipv6StringFromGroups(network), text);
        ASSERT_EQ(KVTools().ipv6intconverter(text), network);

        Ipv6Groups first{}, last{};
        for (unsigned bit = 0; bit < 128; ++bit) {
            const unsigned set = network[bit / 16] >> (15 - bit % 16) & 1u;
            const unsigned place = 15 - bit % 16;
            first[bit / 16] |= static_cast<std::uint16_t>((bit < prefix ? set : 0u) << place);
            last[bit / 16] |= static_cast<std::uint16_t>((bit < prefix ? set : 1u) << place);
        }
        const std::string block = std::string(text) + "/" + std::to_string(prefix);
        const Ipv6Range range = blockRange(network, prefix);
        ASSERT_EQ(range, (Ipv6Range{first, last})) << block;
        ASSERT_EQ(NWKIPTools().rangeFromIPV6cidr(block),
                  prefix < 128 ? std::optional(range) : std::nullopt)
            << block;

        Ipv6Groups address = network;
        const unsigned flipped = random() % 128;
        address[flipped / 16] ^= static_cast<std::uint16_t>(1u << (15 - flipped % 16));
        ASSERT_EQ(VDMatchIP().matchIPV6(ipv6StringFromGroups(address), block), flipped >= prefix)
            << block;
    }
}

} // namespace
} // namespace brindle
