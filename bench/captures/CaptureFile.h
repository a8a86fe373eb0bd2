// SPDX-License-Identifier: BSD-2-Clause
//
// Writes captures of made-up traffic (see Traffic) in every form that the daemon reads: for
// measurements, and for tests that compare with what other programs read from the same file.
//
//     writeCapture({.kind = CaptureKind::freebsd, .count = 1000}, "freebsd.pcap");
#pragma once

#include "bench/captures/Traffic.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include <tl/expected.hpp>

namespace brindle::bench {

/// pf's log as different systems write it, and NFLOG.
enum class CaptureKind : std::uint8_t {
    openbsd,   ///< 100-byte header with the addresses after translation
    freebsd,   ///< before 13.1, as DragonFly
    freebsd13, ///< 13.1 and later
    darwin,
    netbsd,
    openbsd34, ///< without uid and pid
    old17,     ///< the link type before that
    nflog,
};

struct CaptureKindName {
    CaptureKind kind;
    std::string_view name;
};
std::span<const CaptureKindName> captureKinds();

enum class FileOrder : std::uint8_t { littleEndian, bigEndian };
enum class Precision : std::uint8_t { microseconds, nanoseconds };

struct CaptureOptions {
    CaptureKind kind = CaptureKind::openbsd;
    std::uint64_t count = 1000;
    std::uint64_t seed = 1;
    std::int64_t start = 1'700'000'000; ///< first packet, seconds since 1970
    std::int64_t span = 3600;           ///< seconds until the last packet
    /// Distinct remote addresses at the most, up to 150,000. tcpdump looks addresses up in lists by
    /// their first bits: with tens of thousands in the few networks that are free to use here it
    /// gets far slower than on real logs, and is no measure any more.
    std::uint64_t addresses = 2000;
    Traffic::Remote remote = Traffic::Remote::documentation;
    FileOrder order = FileOrder::littleEndian;
    Precision precision = Precision::microseconds;
};

/// Replaces the file at `path`. Error: one line naming the path and the reason.
tl::expected<void, std::string> writeCapture(const CaptureOptions& options,
                                             const std::string& path);

} // namespace brindle::bench
