// SPDX-License-Identifier: BSD-2-Clause
//
// What the decoders read from a capture is what tcpdump reads from it, record by record.
#include "bench/captures/CaptureFile.h"
#include "tallyd/sources/InputFile.h"
#include "tests/tallyd/sources/TemporaryFile.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <gtest/gtest.h>
#include <memory>

namespace brindle::tallyd {
namespace {

using bench::CaptureKind;
using bench::FileOrder;
using bench::Precision;

std::vector<std::string> linesOf(const std::string& command) {
    std::vector<std::string> lines;
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> pipe(popen(command.c_str(), "r"), &pclose);
    char* line = nullptr;
    std::size_t size = 0;
    while (pipe && getline(&line, &size, pipe.get()) > 0)
        lines.emplace_back(line, std::string_view(line).find('\n'));
    std::free(line);
    return lines;
}

bool tcpdumpIsInstalled() {
    return std::system("tcpdump --version >/dev/null 2>&1") == 0;
}

std::string stamp(std::int64_t micros) {
    const std::time_t seconds = micros / 1'000'000;
    std::tm parts{};
    gmtime_r(&seconds, &parts);
    char text[64];
    const std::size_t size = std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &parts);
    std::snprintf(text + size, sizeof text - size, ".%06d", static_cast<int>(micros % 1'000'000));
    return text;
}

std::string endpoint(const IpAddress& address, std::uint16_t port) {
    return address.text() + (port == 0 ? "" : "." + std::to_string(port));
}

struct Case {
    CaptureKind kind;
    FileOrder order;
    Precision precision;
};

class TcpdumpAgreement : public testing::TestWithParam<Case> {};

TEST_P(TcpdumpAgreement, EveryRecordIsReadAsTcpdumpReadsIt) {
    if (!tcpdumpIsInstalled())
        GTEST_SKIP() << "tcpdump is not installed";
    const Case& which = GetParam();
    const TemporaryFile file;
    ASSERT_TRUE(bench::writeCapture({.kind = which.kind,
                                     .count = 2000,
                                     .seed = 11,
                                     .order = which.order,
                                     .precision = which.precision},
                                    file.path()));
    std::vector<PacketRecord> records;
    auto input = openInput(file.path());
    ASSERT_TRUE(input) << input.error();
    while ((*input)->read(records, 300)) {
    }
    const auto lines = linesOf("TZ=UTC tcpdump -n -e -tttt -r " + file.path() + " 2>/dev/null");

    EXPECT_EQ((*input)->problem(), "");
    EXPECT_TRUE((*input)->skipped().empty());
    ASSERT_EQ(records.size(), 2000u);
    ASSERT_EQ(lines.size(), records.size());
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const PacketRecord& record = records[i];
        const std::string& line = lines[i];
        const std::string ends = endpoint(record.src, record.srcport) + " > " +
                                 endpoint(record.dst, record.dstport) + ": ";
        EXPECT_NE(line.find(": " + ends), line.npos) << ends << "\n" << line;
        EXPECT_EQ(line.substr(0, 26), stamp(record.timeMicros)) << line;
        if (which.kind == CaptureKind::nflog)
            continue;
        EXPECT_NE(line.find(" rule " + record.rule + "/"), line.npos) << line;
        // tcpdump looks for the old header's direction where newer ones have it.
        const std::string direction = which.kind == CaptureKind::openbsd34
                                          ? ""
                                          : std::string(directionText(record.direction));
        EXPECT_NE(line.find("): " + std::string(actionText(record.action)) + " " + direction),
                  line.npos)
            << line;
        EXPECT_NE(line.find(" on " + record.interface + ": "), line.npos) << line;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Captures, TcpdumpAgreement,
    testing::Values(Case{CaptureKind::openbsd, FileOrder::littleEndian, Precision::microseconds},
                    Case{CaptureKind::openbsd, FileOrder::bigEndian, Precision::nanoseconds},
                    Case{CaptureKind::openbsd34, FileOrder::littleEndian, Precision::microseconds},
                    Case{CaptureKind::freebsd, FileOrder::bigEndian, Precision::microseconds},
                    Case{CaptureKind::freebsd13, FileOrder::littleEndian, Precision::nanoseconds},
                    Case{CaptureKind::darwin, FileOrder::littleEndian, Precision::microseconds},
                    Case{CaptureKind::netbsd, FileOrder::bigEndian, Precision::microseconds},
                    Case{CaptureKind::nflog, FileOrder::littleEndian, Precision::microseconds},
                    Case{CaptureKind::nflog, FileOrder::bigEndian, Precision::nanoseconds}));

} // namespace
} // namespace brindle::tallyd
