// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/sources/InputFile.h"

#include "bench/captures/CaptureFile.h"
#include "tests/tallyd/sources/TemporaryFile.h"

#include <cstdio>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace brindle::tallyd {
namespace {

using bench::CaptureKind;
using bench::FileOrder;
using testing::ElementsAre;
using testing::Pair;

std::vector<PacketRecord> readAll(InputFile& input, std::size_t limit = 64) {
    std::vector<PacketRecord> records;
    for (bool more = true; more;) {
        const std::size_t before = records.size();
        more = input.read(records, limit);
        EXPECT_LE(records.size() - before, limit);
    }
    return records;
}

std::vector<PacketRecord> readCapture(const bench::CaptureOptions& options) {
    const TemporaryFile file;
    EXPECT_TRUE(bench::writeCapture(options, file.path()));
    auto input = openInput(file.path());
    EXPECT_TRUE(input) << input.error();
    auto records = readAll(**input);
    EXPECT_EQ((*input)->problem(), "");
    EXPECT_TRUE((*input)->skipped().empty());
    return records;
}

TEST(CaptureInput, EverySystemsCaptureOfTheSameTrafficGivesTheSameRecords) {
    const auto reference = readCapture({.kind = CaptureKind::freebsd, .count = 500});
    ASSERT_EQ(reference.size(), 500u);
    for (const auto& [kind, name] : bench::captureKinds())
        for (const FileOrder order : {FileOrder::littleEndian, FileOrder::bigEndian}) {
            auto records = readCapture({.kind = kind, .count = 500, .order = order});
            ASSERT_EQ(records.size(), reference.size()) << name;
            for (std::size_t i = 0; i < records.size(); ++i) {
                PacketRecord expected = reference[i];
                const bool isNflog = kind == CaptureKind::nflog;
                if (kind == CaptureKind::openbsd34 || kind == CaptureKind::old17 ||
                    (isNflog && expected.direction == Direction::in))
                    expected.uid = kNoUid; // these have none
                else if ((kind == CaptureKind::darwin || kind == CaptureKind::netbsd) &&
                         expected.uid == kNoUid)
                    expected.uid = 0x7FFFFFFF;
                if (kind == CaptureKind::old17 || isNflog)
                    expected.rule = expected.rule.substr(0, expected.rule.find('.'));
                if (isNflog) {
                    expected.rule =
                        (expected.action == Action::block ? "[LAN BLOCK] " : "[LAN ALLOW] ") +
                        expected.rule;
                    expected.interface = expected.interface == "lo0"   ? "if1"
                                         : expected.interface == "em0" ? "if2"
                                                                       : "if3";
                }
                EXPECT_EQ(records[i], expected)
                    << name << " packet " << i << (order == FileOrder::bigEndian ? " swapped" : "");
            }
        }
}

TEST(CaptureInput, PacketsBeforeACutAreKeptAndTheCutIsTold) {
    TemporaryFile file;
    ASSERT_TRUE(bench::writeCapture({.count = 13}, file.path()));
    file.shortenBy(3);
    auto input = openInput(file.path());
    ASSERT_TRUE(input) << input.error();
    EXPECT_EQ(readAll(**input).size(), 12u);
    EXPECT_THAT((*input)->problem(),
                testing::StartsWith(file.path() + ": packet 13 is cut short: "));
}

TEST(CaptureInput, UndecodablePacketsAreCountedByReason) {
    TemporaryFile file;
    ASSERT_TRUE(bench::writeCapture({.count = 3}, file.path()));
    std::fstream edit(file.path(), std::ios::binary | std::ios::in | std::ios::out);
    edit.seekp(24 + 16 + 1); // the first packet's address family
    edit.put(17);
    edit.close();
    auto input = openInput(file.path());
    ASSERT_TRUE(input);
    EXPECT_EQ(readAll(**input).size(), 2u);
    EXPECT_THAT((*input)->skipped(), ElementsAre(Pair("address family is not IP", 1)));
}

TEST(LogTextInput, LinesOfBothFiltersAndOfOthersMayBeMixed) {
    const TemporaryFile file(
        "2023-06-08T13:34:33Z gate kernel: DROP IN=eth0 OUT= SRC=203.0.113.7 DST=10.0.0.5 "
        "PROTO=UDP SPT=1 DPT=2 LEN=8\r\n"
        "\n"
        "2023-06-08T13:34:34Z gate sshd[5]: Accepted publickey\n"
        "2023-06-08T13:34:35Z gate filterlog[9]: 5,,,1,em0,match,pass,out,4,0x0,,64,1,0,none,17,"
        "udp,60,192.0.2.1,10.0.0.1,5,53,8\n"
        "2023-06-08T13:34:36Z gate kernel: XX=eth0 SRC=203.0.113.7 DST=10.0.0.5 PROTO=UDP\n" +
        std::string(100'000, 'x') + "\n" +
        "2023-06-08T13:34:37Z gate kernel: last IN=eth0 OUT= SRC=203.0.113.7 DST=10.0.0.5 PROTO=2");
    auto input = openInput(file.path());
    ASSERT_TRUE(input) << input.error();
    const auto records = readAll(**input, 1);
    ASSERT_EQ(records.size(), 3u);
    EXPECT_EQ(records[0].rule, "DROP");
    EXPECT_EQ(records[0].timeMicros, 1'686'231'273'000'000);
    EXPECT_EQ(records[1].interface, "em0");
    EXPECT_EQ(records[2].proto, "igmp");
    EXPECT_THAT((*input)->skipped(),
                ElementsAre(Pair("line is too long", 1),
                            Pair("neither an incoming nor an outgoing interface", 1),
                            Pair("not a packet filter's line", 1)));
    EXPECT_EQ((*input)->problem(), "");
}

TEST(OpenInput, WhatIsNoLogIsRefusedWithItsPathAndReason) {
    const TemporaryFile binary(std::string("\x89PNG\r\n\x1a\n\0\0\0\rIHDR", 16));
    TemporaryFile ethernet;
    ASSERT_TRUE(bench::writeCapture({.count = 1}, ethernet.path()));
    std::fstream edit(ethernet.path(), std::ios::binary | std::ios::in | std::ios::out);
    edit.seekp(20);
    edit.put(1);
    edit.close();
    const TemporaryFile stub("\xd4\xc3\xb2\xa1\x02");
    const std::pair<std::string, std::string> cases[] = {
        {"/nonexistent/log", "No such file or directory"},
        {"/", "Is a directory"},
        {binary.path(), "neither a packet capture nor a packet filter's log"},
        {ethernet.path(),
         "link type 1 (EN10MB) carries no packet filter's log (pflog and NFLOG do)"},
    };
    for (const auto& [path, reason] : cases) {
        const auto input = openInput(path);
        ASSERT_FALSE(input) << path;
        EXPECT_EQ(input.error(), path + ": " + reason);
    }
    const auto cut = openInput(stub.path());
    ASSERT_FALSE(cut);
    EXPECT_THAT(cut.error(), testing::StartsWith(stub.path() + ": "));

    const TemporaryFile empty;
    auto input = openInput(empty.path());
    ASSERT_TRUE(input) << "an empty log is one";
    EXPECT_TRUE(readAll(**input).empty());
}

/// Standard input led to a pipe that `command` fills; back as it was at the end.
class PipedInput {
  public:
    explicit PipedInput(const std::string& command)
        : saved_(dup(STDIN_FILENO)), pipe_(popen(command.c_str(), "r")) {
        dup2(fileno(pipe_), STDIN_FILENO);
        std::clearerr(stdin);
    }
    ~PipedInput() {
        dup2(saved_, STDIN_FILENO);
        close(saved_);
        pclose(pipe_);
    }

  private:
    int saved_;
    std::FILE* pipe_;
};

TEST(OpenInput, KindOfStandardInputIsFoundOnAPipeThatDeliversSlowly) {
    TemporaryFile file;
    ASSERT_TRUE(bench::writeCapture({.count = 40}, file.path()));
    const PipedInput piped("head -c 2 " + file.path() + "; sleep 0.1; tail -c +3 " + file.path());
    auto input = openInput("-");
    ASSERT_TRUE(input) << input.error();
    EXPECT_EQ(readAll(**input).size(), 40u);
    EXPECT_EQ((*input)->problem(), "");
}

} // namespace
} // namespace brindle::tallyd
