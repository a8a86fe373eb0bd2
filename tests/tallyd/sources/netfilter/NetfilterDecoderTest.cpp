// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/sources/netfilter/NetfilterDecoder.h"

#include <cstdlib>
#include <ctime>
#include <gtest/gtest.h>

namespace brindle::tallyd {
namespace {

// 2024-01-01 12:00:00 UTC, in a zone that is an hour ahead of it.
constexpr std::int64_t kSecond = 1'000'000;
constexpr std::int64_t kNow = 1'704'110'400 * kSecond;
constexpr LineClock kClock{kNow, 77 * kSecond, kNow - 1000 * kSecond};
const std::string kPacket = "SRC=203.0.113.7 DST=10.0.0.5 LEN=40 TOS=0x00 TTL=57 ID=1 PROTO=TCP "
                            "SPT=40000 DPT=22 WINDOW=1024 SYN URGP=0 ";

class NetfilterLines : public testing::Test {
  protected:
    NetfilterLines() {
        setenv("TZ", "CET-1", 1);
        tzset();
    }

    std::string summary(const std::string& line) {
        const auto record = decoder.decode(line, kClock);
        if (!record)
            return std::string(record.error());
        return "\"" + record->rule + "\" " + std::string(actionText(record->action)) + " " +
               std::string(directionText(record->direction)) + " " + record->interface + " " +
               std::to_string(record->uid) + " " + record->src.text() + ":" +
               std::to_string(record->srcport) + " " + record->dst.text() + ":" +
               std::to_string(record->dstport) + " " + record->proto;
    }
    std::int64_t time(const std::string& start) {
        const auto record = decoder.decode(start + "IN=eth0 OUT= " + kPacket, kClock);
        EXPECT_TRUE(record) << start;
        EXPECT_EQ(record->rule, "") << start;
        return record->timeMicros;
    }

    NetfilterDecoder decoder;
};

TEST_F(NetfilterLines, PrefixInterfacesAndFieldsAreToldApart) {
    const std::string ends = " 4294967295 203.0.113.7:40000 10.0.0.5:22 tcp";
    const std::pair<std::string, std::string> cases[] = {
        {"[UFW BLOCK] IN=eth0 OUT= MAC=00:11 " + kPacket, "\"[UFW BLOCK]\" block in eth0" + ends},
        {"DROPIN=eth0 OUT= " + kPacket, "\"DROP\" block in eth0" + ends},
        {"ACCEPT: IN= OUT=wan0.7 " + kPacket, "\"ACCEPT:\" pass out wan0.7" + ends},
        {"forwarded IN=lan0 OUT=wan0 " + kPacket, "\"forwarded\" pass in lan0" + ends},
        {"br IN=br0 OUT= PHYSIN=eth1 PHYSOUT=eth2 MAC=00:11 " + kPacket,
         "\"br\" pass in br0" + ends},
        {"MAC=filter LOGIN=x IN=eth0 OUT= MACSRC=00:11 MACDST=00:22 MACPROTO=0800 " + kPacket,
         "\"MAC=filter LOGIN=x\" pass in eth0" + ends},
        {"no out IN=eth0 " + kPacket, "\"no out\" pass in eth0" + ends},
        {"no in OUT=eth0 " + kPacket, "\"no in\" pass out eth0" + ends},
        {"gluedOUT=eth0 " + kPacket, "\"glued\" pass out eth0" + ends},
        {"TRACE: raw:PREROUTING:policy:3 IN=wlan0 OUT= " + kPacket,
         "\"TRACE: raw:PREROUTING:policy:3\" pass in wlan0" + ends},
        {"Jun  8 14:34:33 gate kernel: [ 12.5] LAN-D-10 IN=eth0 OUT= " + kPacket,
         "\"LAN-D-10\" block in eth0" + ends},
        {"<4>1 2023-06-08T14:34:33Z gate kernel - - - [12.5] x IN=eth0 OUT= " + kPacket,
         "\"x\" pass in eth0" + ends},
        {"Jun  8 14:34:33 gate REJECT: IN=eth0 OUT= " + kPacket,
         "\"REJECT:\" block in eth0" + ends},
        {"IN=eth0 OUT= " + kPacket + "UID=0 GID=0 MARK=0x1 ",
         "\"\" pass in eth0 0 203.0.113.7:40000 10.0.0.5:22 tcp"},
        {"IN=eth0 OUT= SRC=2001:0db8:0000:0000:0000:0000:0000:0001 DST=ff02::1 TC=0 HOPLIMIT=1 "
         "FLOWLBL=0 PROTO=ICMPv6 TYPE=130 CODE=0",
         "\"\" pass in eth0 4294967295 2001:db8::1:0 ff02::1:0 ipv6-icmp"},
        {"IN=eth0 OUT= SRC=192.0.2.1 DST=10.0.0.5 PROTO=132 SPT=5 DPT=6\r",
         "\"\" pass in eth0 4294967295 192.0.2.1:5 10.0.0.5:6 sctp"},
    };
    for (const auto& [line, expected] : cases)
        EXPECT_EQ(summary(line), expected) << line;
}

TEST_F(NetfilterLines, NestedPacketOfAnIcmpErrorDoesNotOverwriteTheOuterOne) {
    EXPECT_EQ(
        summary("IN=eth0 OUT= SRC=192.0.2.1 DST=10.0.0.5 PROTO=ICMP TYPE=3 CODE=1 "
                "[SRC=10.0.0.5 DST=198.51.100.9 LEN=60 PROTO=UDP SPT=7 DPT=53 LEN=40 ] UID=3 "),
        "\"\" pass in eth0 3 192.0.2.1:0 10.0.0.5:0 icmp");
    EXPECT_EQ(summary("IN=eth0 OUT= SRC=192.0.2.1 DST=10.0.0.5 PROTO=ICMP [SRC=10.0.0.5 DPT=53"),
              "\"\" pass in eth0 4294967295 192.0.2.1:0 10.0.0.5:0 icmp");
    EXPECT_EQ(summary("IN=eth0 OUT= SRC=192.0.2.1 PROTO=ICMP [SRC=10.0.0.5 DST=198.51.100.9 ]"),
              "no source and destination address");
}

TEST_F(NetfilterLines, MalformedLinesAreToldByReason) {
    EXPECT_EQ(summary("XX=eth0 OUT= MAC=00:11 " + kPacket),
              "neither an incoming nor an outgoing interface");
    EXPECT_EQ(summary("IN=eth0 OUT= SRC=203.0.113 DST=10.0.0.5"),
              "no source and destination address");
    EXPECT_EQ(summary("IN=eth0 OUT= SRC= DST= "), "no source and destination address");
    EXPECT_EQ(summary("session opened for user root"), "not a packet's line");
    const std::string whole =
        "<4>Jun  8 14:34:33 gate kernel: [ 12.5] DROP IN=eth0 OUT= [" + kPacket;
    for (std::size_t size = 0; size <= whole.size(); ++size)
        summary(whole.substr(0, size)); // no cut may read beyond its end
}

TEST_F(NetfilterLines, EveryFormOfStampIsRead) {
    constexpr std::int64_t kStamp = 1'686'231'273 * kSecond; // 2023-06-08 13:34:33 UTC
    for (const char* start :
         {"Jun  8 14:34:33 gate kernel: ", "<4>Jun  8 14:34:33 gate kernel: [5002.088] ",
          "Jun 08 14:34:33 gate ", "Thu Jun  8 14:34:33 2023 kern.warn kernel: [ 5.1] ",
          "[Thu Jun  8 14:34:33 2023] ", "2023-06-08T13:34:33Z gate kernel: ",
          "2023-06-08T15:34:33+02:00 gate kernel: [    5.1][  T12] ",
          "2023-06-08 14:34:33 gate kernel: ", "2023-06-08T09:04:33-0430 gate ulogd[812]: ",
          "<134>1 2023-06-08T15:34:33+02:00 gate kernel 12 - [meta id=\"a]\\\"b\"] ",
          "2023-06-08T14:34:33,000000+01:00 "})
        EXPECT_EQ(time(start), kStamp) << start;
    EXPECT_EQ(time("2023-06-08T14:34:33.250001234+01:00 gate kernel: "), kStamp + 250'001);
    EXPECT_EQ(time("Jun  8 14:34:33.5 gate kernel: "), kStamp + 500'000);
}

TEST_F(NetfilterLines, YearIsTheOneClosestToButNotBeyondTomorrow) {
    const std::pair<const char*, std::int64_t> cases[] = {
        {"Jan  2 12:59:59 gate ", 1'704'196'799}, // 2024: within a day
        {"Jan  2 13:00:01 gate ", 1'672'660'801}, // 2023: a second too late for 2024
        {"Dec 31 23:00:00 gate ", 1'704'060'000}, // 2023
        {"Feb 29 10:00:00 gate ", 1'582'966'800}, // 2020: the last year that had one
    };
    for (const auto& [start, seconds] : cases)
        EXPECT_EQ(time(start), seconds * kSecond) << start;
}

TEST_F(NetfilterLines, StampsSinceBootNeedThisMachinesBoot) {
    EXPECT_EQ(time("[  900.000001] "), kNow - 100 * kSecond + 1);
    EXPECT_EQ(time("kernel: [  900.5] "), 77 * kSecond) << "the stamp is the journal's";
    EXPECT_EQ(time("[31925184.693562] "), 77 * kSecond) << "another machine's";
    EXPECT_EQ(time(""), 77 * kSecond);
}

} // namespace
} // namespace brindle::tallyd
