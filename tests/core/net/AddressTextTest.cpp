// SPDX-License-Identifier: BSD-2-Clause
#include "core/net/KVTools.h"
#include "core/net/NWKIPTools.h"
#include "core/net/VDAddress.h"
#include "core/net/VDMatchIP.h"
#include "core/net/VDValidateIP.h"

#include <optional>
#include <string>

#include <gtest/gtest.h>

namespace brindle {
namespace {

using namespace std::string_literals;

struct Verdict {
    std::string text;
    bool valid;
};

TEST(VDValidateIP, TakesWhatIsExactlyOneAddress) {
    const Verdict cases[] = {
        {"::1", true},
        {"::ffff:1.2.3.4", true},
        {"255.255.255.255", true},
        {"0000:0000:0000:0000:0000:ffff:255.255.255.255", true},
        {"256.1.1.1", false},
        {"1.2.3", false},
        {"1.2.3.4 ", false},
        {"", false},
        {"10.0.0.1/8", false},
        {"010.0.0.1", false},
        {"fe80::1%eth0", false},
        {"1.2.3.4\0x"s, false},
    };
    for (const auto& [text, valid] : cases)
        EXPECT_EQ(VDValidateIP().isValidIpAddress(text), valid) << text;
}

TEST(VDMatchIP, ValidatesIPV4Blocks) {
    const Verdict cases[] = {
        {"0.0.0.0/0", true},
        {"10.0.0.0/8", true},
        {"10/8", true},
        {"1.2.3.4/24", true},
        {"010.0.0.0/8", true},
        {"1.2.3.4/032", true},
        {"1.2.3.4/32", true},
        {"10.1", true},
        {"1.2.3.4/33", false},
        {"::/0", false},
        {"300.1.1.1/8", false},
        {"1.2.3.4/", false},
        {"1.2.3.4/x", false},
        {"1.2.3.4.5/8", false},
        {"", false},
        {"/8", false},
        {"10.0.0.0/8/9", false},
        {"0x0a/8", false},
        {"1.2.3.4 /8", false},
        {"10.0.0.0/8\0x"s, false},
        {"1.2.3.4/99999999999", false},
    };
    for (const auto& [text, valid] : cases)
        EXPECT_EQ(VDMatchIP().validateIPV4cidr(text), valid) << text;
}

TEST(VDMatchIP, MatchesAddressesAgainstBlocks) {
    const struct {
        std::string address;
        std::string block;
        bool matches;
    } cases[] = {
        {"192.168.7.9", "192.168.0.0/16", true},
        {"172.32.0.1", "172.16.0.0/12", false},
        {"172.31.255.255", "172.16.0.0/12", true},
        {"203.0.113.1", "0.0.0.0/0", true},
        {"10.1.2.3", "10.1.2.99/24", true}, // host bits are ignored
        {"1.2.3.4", "1.2.3.4/32", true},
        {"1.2.3.5", "1.2.3.4/32", false},
        {"0x7f.1", "127/8", false},          // "127" alone is 0.0.0.127
        {"0x7f.1", "127.0/8", true},         // shortened and hexadecimal forms
        {"8.1.2.3", "010.0.0.0/8", true},    // a leading zero is octal here
        {"10.1.2.3", "10.0.0.0/ +8x", true}, // the prefix is read loosely
        {"99.1.2.3", "10.0.0.0/", true},     // no digits are a prefix of 0
        {"99.1.2.3", "10.0.0.0/x", true},
        {"10.0.0.1", "10.0.0.0", false},
        {"10.0.0.1", "10.0.0.0/33", false},
        {"10.0.0.1", "10.0.0.0/-1", false},
        {"10.0.0.1", "10.0.0.0/18446744073709551624", false},
        {"10.0.0.1", "x/8", false},
        {"x", "0.0.0.0/0", false},
        {"::1", "0.0.0.0/0", false},
    };
    for (const auto& [address, block, matches] : cases)
        EXPECT_EQ(VDMatchIP().matchIP(address, block), matches) << address << " in " << block;
}

TEST(VDMatchIP, IPV6BlocksHaveAParserOfTheirOwn) {
    const Verdict valid[] = {
        {"::/0", true},
        {"2001:db8::/128", true},
        {"2001:db8::/129", false},
        {"2001:db8::", false},
        {"1.2.3.4/8", false},
        {"2001:db8::/", false},
        {"2001:db8::/-1", false},
        {"2001:db8::/+1", false},
        {"2001:db8::/1 ", false},
        {"2001:db8::/99999999999999999999", false},
    };
    for (const auto& [text, expected] : valid)
        EXPECT_EQ(VDMatchIP().validateIPV6cidr(text), expected) << text;

    const struct {
        std::string address;
        std::string block;
        bool matches;
    } cases[] = {
        {"2001:db8::1", "2001:db8::/32", true},
        {"2001:db9::1", "2001:db8::/32", false},
        {"2001:db8:8000::", "2001:db8::/33", false},
        {"fe80::1", "fe80::/10", true},
        {"fec0::1", "fe80::/10", false},
        {"::1", "::/0", true},
        {"::1", "::1/128", true},
        {"::2", "::1/128", false},
        {"1.2.3.4", "::/0", false},
        {"::1", "::", false},
    };
    for (const auto& [address, block, matches] : cases)
        EXPECT_EQ(VDMatchIP().matchIPV6(address, block), matches) << address << " in " << block;
}

TEST(NWKIPTools, IPV6BlocksNeedAHostAndANetworkBit) {
    const Verdict cases[] = {
        {"::/0", true},        {"fe80::/10", true},     {"2001:db8::/32", true},
        {"fe80::/+64", true},  {"fe80::/127", true},    {"::ffff:1.2.3.4/100", true},
        {"fe80::/0", false},   {"fe80::/128", false},   {"fe80::", false},
        {"1.2.3.4/8", false},  {"2001:db8::/x", false}, {"fe80::/", false},
        {"fe80::/ 64", false}, {"fe80:::/64", false},   {"fe80::/-64", false},
    };
    for (const auto& [text, valid] : cases)
        EXPECT_EQ(NWKIPTools().isValidIPV6cidr(text), valid) << text;
}

TEST(NWKIPTools, RangesOfIPV4Blocks) {
    const struct {
        std::string block;
        std::optional<Ipv4Range> range;
    } cases[] = {
        {"10.1.2.3/24", Ipv4Range{0x0A010200, 0x0A0102FF}},
        {"0.0.0.0/0", Ipv4Range{0, 0xFFFFFFFF}},
        {"172.16.0.0/12", Ipv4Range{0xAC100000, 0xAC1FFFFF}},
        {"10/8", Ipv4Range{0x0A000000, 0x0AFFFFFF}},
        {"1.2.3.4/31", Ipv4Range{0x01020304, 0x01020305}},
        {"010.0.0.0/08", Ipv4Range{0x0A000000, 0x0AFFFFFF}},
        {"1.2.3.4/32", std::nullopt},
        {"1.2.3.4/032", std::nullopt},
        {"1.2.3.4/-1", std::nullopt},
        {"1.2.3.4/x", std::nullopt},
        {"1.2.3.4", std::nullopt},
        {"300.1.1.1/8", std::nullopt},
        {"-1.1.1.1/8", std::nullopt},
    };
    for (const auto& [block, range] : cases)
        EXPECT_EQ(NWKIPTools().rangeFromIPV4cidr(block), range) << block;
}

TEST(NWKIPTools, RangesOfIPV6Blocks) {
    const struct {
        std::string block;
        std::string first;
        std::string last;
    } cases[] = {
        {"::/0", "::", "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff"},
        {"2001:db8:1:2::5/64", "2001:db8:1:2::", "2001:db8:1:2:ffff:ffff:ffff:ffff"},
        {"fe80::/10", "fe80::", "febf:ffff:ffff:ffff:ffff:ffff:ffff:ffff"},
        {"::1/127", "::", "::1"},
    };
    for (const auto& [block, first, last] : cases) {
        const auto range = NWKIPTools().rangeFromIPV6cidr(block);
        ASSERT_TRUE(range) << block;
        EXPECT_EQ(ipv6StringFromGroups(range->first), first) << block;
        EXPECT_EQ(ipv6StringFromGroups(range->last), last) << block;
    }
    for (const char* block : {"::/128", "::", "::/x", "::/-1", "x/64", "1.2.3.4/64", ""})
        EXPECT_EQ(NWKIPTools().rangeFromIPV6cidr(block), std::nullopt) << block;
}

TEST(NWKIPTools, NumbersAndDigitsOfDecimalText) {
    EXPECT_EQ(NWKIPTools().ipv4intconverter("192.168.0.1"), 0xC0A80001u);
    for (const char* text : {"1.2.3", "1.2.3.x", "1.2.3.256", "1.2.3.-1", "1..3.4", ""})
        EXPECT_EQ(NWKIPTools().ipv4intconverter(text), std::nullopt) << text;

    const std::pair<const char*, const char*> digits[] = {
        {"10", "1010"}, {"0", "0"},    {"", "0"},      {"x", "0"},
        {" 1", "0"},    {"+5", "101"}, {"007", "111"}, {"9223372036854775808", "0"},
    };
    for (const auto& [text, bits] : digits)
        EXPECT_EQ(bitStringFromDecimal(text), bits) << text;
    EXPECT_EQ(bitStringFromDecimal("-1"), std::nullopt);
}

TEST(KVTools, AnythingButIPV6LeavesTheLastResult) {
    KVTools tools;
    EXPECT_EQ(tools.ipv6intconverter("x"), Ipv6Groups{});
    const Ipv6Groups groups{0x2001, 0x0DB8, 0, 0, 0, 0, 0, 1};
    EXPECT_EQ(tools.ipv6intconverter("2001:db8::1"), groups);
    EXPECT_EQ(tools.ipv6intconverter("1.2.3.4"), groups);
    EXPECT_EQ(KVTools().ipv6intconverter("1.2.3.4"), Ipv6Groups{}) << "instances share a result";
}

TEST(VDAddress, BuildsSinglesAndBlocks) {
    const auto single4 = VDAddress::fromText("1.2.3.4");
    ASSERT_TRUE(single4);
    EXPECT_EQ(std::tuple(single4->version, single4->isRange, single4->min4, single4->max4),
              std::tuple(4, false, 0x01020304u, 0x01020304u));
    EXPECT_EQ(single4->min6, Ipv6Groups{});

    const auto mapped = VDAddress::fromText("::ffff:1.2.3.4");
    ASSERT_TRUE(mapped);
    EXPECT_EQ(std::tuple(mapped->version, mapped->isRange, mapped->min4), std::tuple(6, false, 0u));
    EXPECT_EQ(mapped->min6, (Ipv6Groups{0, 0, 0, 0, 0, 0xFFFF, 0x0102, 0x0304}));
    EXPECT_EQ(mapped->max6, mapped->min6);

    const struct {
        std::string text;
        std::uint32_t min;
        std::uint32_t max;
    } blocks[] = {
        {"10.0.0.0/8", 0x0A000000, 0x0AFFFFFF},  {"10/8", 0x0A000000, 0x0AFFFFFF},
        {"1.2.3.4/24", 0x01020300, 0x010203FF},  {"0.0.0.0/0", 0, 0xFFFFFFFF},
        {"010.0.0.0/8", 0x0A000000, 0x0AFFFFFF}, {"1.2.3.4/031", 0x01020304, 0x01020305},
    };
    for (const auto& [text, min, max] : blocks) {
        const auto block = VDAddress::fromText(text);
        ASSERT_TRUE(block) << text;
        EXPECT_EQ(block->address, text);
        EXPECT_EQ(std::tuple(block->version, block->isRange, block->min4, block->max4),
                  std::tuple(4, true, min, max))
            << text;
    }

    const auto block6 = VDAddress::fromText("fe80::/64");
    ASSERT_TRUE(block6);
    EXPECT_EQ(std::tuple(block6->version, block6->isRange, block6->max4), std::tuple(6, true, 0u));
    EXPECT_EQ(block6->max6, (Ipv6Groups{0xFE80, 0, 0, 0, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF}));
    const auto all6 = VDAddress::fromText("::/0");
    ASSERT_TRUE(all6);
    EXPECT_EQ(all6->min6, Ipv6Groups{});
    EXPECT_EQ(all6->max6[0], 0xFFFF);
}

TEST(VDAddress, RefusesEverythingElse) {
    for (const char* text : {"",
                             "example.org",
                             "010.0.0.1",
                             "1.2.3.4/32",
                             "1.2.3.4/032",
                             "1.2.3.4/0032",
                             "10/32",
                             "10.0.0.0/0",
                             "0/0",
                             "1.2.3.4/33",
                             "300.1.1.1/8",
                             "2001:db8::/0",
                             "::0/0",
                             "fe80::/128",
                             "fe80::/x",
                             "::ffff:1.2.3.4/32",
                             "10.1",
                             "0x0a/8",
                             "1.2.3.4 ",
                             " 1.2.3.4",
                             "/",
                             "/8",
                             ":/8"})
        EXPECT_FALSE(VDAddress::fromText(text)) << text;
}

} // namespace
} // namespace brindle
