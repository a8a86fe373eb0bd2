// SPDX-License-Identifier: BSD-2-Clause
#include "vardex/guard/AddressBlock.h"
#include "vardex/guard/AddressGuard.h"
#include "vardex/guard/MachineAddresses.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>
#include <string>
#include <utility>
#include <vector>

namespace brindle::vardex {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> texts(const std::vector<IpAddress>& addresses) {
    std::vector<std::string> result;
    for (const IpAddress& address : addresses)
        result.push_back(address.text());
    return result;
}

TEST(AddressBlock, IsReadAndWrittenInOneWay) {
    const std::vector<std::pair<std::string, std::string>> cases{
        {"192.0.2.1", "192.0.2.1"},
        {"192.0.2.1/32", "192.0.2.1"},
        {"203.0.113.77/24", "203.0.113.0/24"},
        {"203.0.113.77/25", "203.0.113.0/25"},
        {"203.0.113.200/25", "203.0.113.128/25"},
        {"1.2.3.4/0", "0.0.0.0/0"},
        {"2001:DB8:0::1", "2001:db8::1"},
        {"2001:db8::1/128", "2001:db8::1"},
        {"2001:db8:ffff::1/33", "2001:db8:8000::/33"},
        {"::ffff:192.0.2.1", "192.0.2.1"},
        {"::ffff:192.0.2.1/120", "192.0.2.0/24"},
        {"::ffff:192.0.2.1/95", "::fffe:0:0/95"},
    };
    for (const auto& [typed, written] : cases) {
        const auto block = AddressBlock::parse(typed);
        ASSERT_TRUE(block) << typed;
        EXPECT_EQ(block->text(), written);
        EXPECT_EQ(AddressBlock::parse(written), block);
    }
    for (const char* text : {"", " ", "192.0.2", "192.0.2.1 ", "192.0.2.256", "192.0.2.1/33",
                             "192.0.2.1/", "/24", "192.0.2.1/-1", "192.0.2.1/+8", "192.0.2.1/0x8",
                             "192.0.2.1/8/8", "192.0.2.1/0008", "::1/129", "fe80::1%eth0",
                             "example.org", "192.0.2.1; flush ruleset", "192.0.2.1\n", "10/8"})
        EXPECT_FALSE(AddressBlock::parse(text)) << text;
}

TEST(AddressBlock, OverlapsLeaveTheWidest) {
    std::vector<AddressBlock> blocks;
    for (const char* text : {"203.0.113.9", "203.0.113.0/24", "203.0.113.128/25", "192.0.2.1",
                             "192.0.2.1", "192.0.2.2", "::/0", "2001:db8::1"})
        blocks.push_back(*AddressBlock::parse(text));
    std::vector<std::string> left;
    for (const AddressBlock& block : withoutOverlaps(blocks))
        left.push_back(block.text());
    EXPECT_THAT(left, ElementsAre("192.0.2.1", "192.0.2.2", "203.0.113.0/24", "::/0"));
}

TEST(MachineAddresses, GatewaysAreThoseOfDefaultRoutesThatAreUp) {
    if constexpr (std::endian::native != std::endian::little)
        GTEST_SKIP() << "the texts are a little-endian machine's";
    EXPECT_THAT(
        texts(gatewaysOfRoutes(
            "Iface\tDestination\tGateway \tFlags\tRefCnt\tUse\tMetric\tMask\t\tMTU\tWindow\tIRTT\n"
            "eth0\t00000000\t010200C0\t0003\t0\t0\t100\t00000000\t0\t0\t0\n"
            "eth1\t00000000\tFE0200C0\t0002\t0\t0\t100\t00000000\t0\t0\t0\n"
            "eth0\t000200C0\t00000000\t0001\t0\t0\t0\t00FFFFFF\t0\t0\t0\n"
            "eth0\t000264C6\t090200C0\t0003\t0\t0\t0\t00FFFFFF\t0\t0\t0\n"
            "broken\t00000000\n")),
        ElementsAre("192.0.2.1"));
    EXPECT_THAT(
        texts(gatewaysOfIpv6Routes(
            "00000000000000000000000000000000 00 00000000000000000000000000000000 00 "
            "fe800000000000000000000000000001 00000400 00000000 00000000 00000003     eth0\n"
            "20010db8000000000000000000000000 20 00000000000000000000000000000000 00 "
            "fe800000000000000000000000000002 00000400 00000000 00000000 00000003     eth0\n"
            "00000000000000000000000000000000 00 00000000000000000000000000000000 00 "
            "00000000000000000000000000000000 ffffffff 00000001 00000000 00200200       lo\n")),
        ElementsAre("fe80::1"));
    EXPECT_THAT(gatewaysOfRoutes(""), IsEmpty());
}

TEST(MachineAddresses, NameServersAreReadAsTheResolverReadsThem) {
    EXPECT_THAT(texts(nameServersOf("# nameserver 192.0.2.9\nsearch example.org\n"
                                    "nameserver 192.0.2.53 # comment\n\tnameserver\t2001:db8::53\n"
                                    "nameserver fe80::53%eth0\nnameserver nonsense\nnameserver\n"
                                    "nameserver 192.0.2.54")),
                ElementsAre("192.0.2.53", "2001:db8::53", "fe80::53", "192.0.2.54"));
}

TEST(AddressGuard, RefusesWhatWouldCutTheMachineOff) {
    MachineAddresses machine;
    machine.own = {*IpAddress::parse("192.0.2.10"), *IpAddress::parse("2001:db8::10")};
    machine.gateways = {*IpAddress::parse("192.0.2.1")};
    machine.nameServers = {*IpAddress::parse("198.51.100.53")};
    const std::vector<std::pair<std::string, std::string>> cases{
        {"203.0.113.5", ""},
        {"203.0.113.0/24", ""},
        {"2001:db8::11", ""},
        {"192.0.2.10", "is this machine's own address"},
        {"::ffff:192.0.2.10", "is this machine's own address"},
        {"2001:db8::/64", "contains this machine's own address 2001:db8::10"},
        {"192.0.2.1", "is the default gateway"},
        {"192.0.2.0/30", "contains the default gateway 192.0.2.1"},
        {"198.51.100.53", "is the name server"},
        {"127.1.2.3", "is a loopback address"},
        {"0.0.0.0/0", "contains loopback addresses"},
        {"::1", "is the loopback address"},
        {"::/0", "contains the loopback address"},
        {"169.254.9.9", "is a link-local address"},
        {"fe80::1", "is a link-local address"},
        {"fe00::/8", "contains link-local addresses"},
        {"239.1.1.1", "is a multicast address"},
        {"ff02::fb", "is a multicast address"},
        {"255.255.255.255", "is the broadcast address"},
        {"0.0.0.0", "is no address of a host"},
    };
    for (const auto& [text, reason] : cases)
        EXPECT_EQ(reasonToRefuse(*AddressBlock::parse(text), machine).value_or(""), reason) << text;
}

TEST(AddressGuard, KnowsTheAddressesOfThisMachine) {
    const auto own = texts(MachineAddresses::current().own);
    EXPECT_THAT(own, testing::Contains("127.0.0.1"));
}

} // namespace
} // namespace brindle::vardex
