// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/sources/filterlog/FilterlogDecoder.h"

#include <cstdlib>
#include <ctime>
#include <gtest/gtest.h>

namespace brindle::tallyd {
namespace {

constexpr std::int64_t kSecond = 1'000'000;
constexpr LineClock kClock{1'704'110'400 * kSecond, 77 * kSecond, std::nullopt};

std::string summary(const std::string& line) {
    FilterlogDecoder decoder;
    const auto record = decoder.decode(line, kClock);
    if (!record)
        return std::string(record.error());
    EXPECT_EQ(record->uid, kNoUid);
    return std::to_string(record->timeMicros / kSecond) + " " + record->rule + " " +
           std::string(actionText(record->action)) + " " +
           std::string(directionText(record->direction)) + " " + record->interface + " " +
           record->src.text() + ":" + std::to_string(record->srcport) + " " + record->dst.text() +
           ":" + std::to_string(record->dstport) + " " + record->proto;
}

TEST(FilterlogDecoder, FieldsOfBothVersionsAreFound) {
    setenv("TZ", "UTC", 1);
    tzset();
    const std::pair<const char*, const char*> cases[] = {
        {"Sep 28 10:38:09 gate filterlog: 53,,,1000000301,em0,match,block,in,4,0x0,,64,420,0,none,"
         "6,tcp,460,203.0.113.2,10.0.2.15,53742,22,420,PA,1:2,3,65535,,",
         "1695897489 53 block in em0 203.0.113.2:53742 10.0.2.15:22 tcp"},
        {"<134>1 2023-09-28T12:38:09+02:00 gate filterlog 69805 - [meta sequenceId=\"26\"] 98,,,"
         "0f,re0,match,pass,out,6,0x00,0x0ea87,51,UDP,17,73,2001:db8::1,2001:db8::2,6881,51918,73",
         "1695897489 98 pass out re0 2001:db8::1:6881 2001:db8::2:51918 udp"},
        {"7,2,relay/in,0,igb1,match,rdr,in,4,0x0,,64,1,0,DF,17,UDP,76,192.0.2.1,10.0.0.1,5,53,48",
         "77 7.relay/in.2 pass in igb1 192.0.2.1:5 10.0.0.1:53 udp"},
        {"Sep 28 10:38:09 filterlog[812]: 5,16777216,,1,em0,match,block,in,4,0x0,,1,1,0,none,1,"
         "ICMP,60,192.0.2.1,10.0.0.1,request,1,9",
         "1695897489 5 block in em0 192.0.2.1:0 10.0.0.1:0 icmp"},
        {"5,,,1,em0,fragment,block,in,4,0x0,,64,1,1480,none,17,udp,60,192.0.2.1,10.0.0.1,5,53,8",
         "77 5 block in em0 192.0.2.1:0 10.0.0.1:0 udp"},
        {"5,,,1,em0,match,unkn(11),in,6,0,0,1,ICMPv6,58,32,2001:db8::1,ff02::1,",
         "77 5 pass in em0 2001:db8::1:0 ff02::1:0 ipv6-icmp"},
    };
    for (const auto& [line, expected] : cases) {
        EXPECT_TRUE(FilterlogDecoder::recognises(line)) << line;
        EXPECT_EQ(summary(line), expected) << line;
    }
}

TEST(FilterlogDecoder, MalformedLinesAreToldByReason) {
    const std::string start = "5,,,1,em0,match,block,in,";
    EXPECT_EQ(summary("gate filterlog: 5,,,1,em0"), "too few fields");
    EXPECT_EQ(summary(start + "5,0x0,,64,1,0,none,6,tcp,60,192.0.2.1,10.0.0.1,5,53"),
              "IP version is neither 4 nor 6");
    EXPECT_EQ(summary(start + "4,0x0,,64,1,0,none,6,tcp,60,192.0.2.1"),
              "no source and destination address");
    EXPECT_EQ(summary(start + "4,0x0,,64,1,0,none,6,tcp,60,192.0.2.1,10.0.0.1,99999,x\r"),
              "77 5 block in em0 192.0.2.1:0 10.0.0.1:0 tcp");
    EXPECT_FALSE(FilterlogDecoder::recognises("a,b,c,d,e,f,g,h,i,j"));
}

} // namespace
} // namespace brindle::tallyd
