// SPDX-License-Identifier: BSD-2-Clause
#include "bench/captures/CaptureFile.h"

#include "bench/captures/PacketForm.h"
#include "bench/captures/Traffic.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

namespace brindle::bench {

namespace {

constexpr CaptureKindName kKinds[] = {
    {CaptureKind::openbsd, "openbsd"},     {CaptureKind::freebsd, "freebsd"},
    {CaptureKind::freebsd13, "freebsd13"}, {CaptureKind::darwin, "darwin"},
    {CaptureKind::netbsd, "netbsd"},       {CaptureKind::openbsd34, "openbsd34"},
    {CaptureKind::old17, "old17"},         {CaptureKind::nflog, "nflog"},
};

/// What the usual recorder keeps of a packet: pflogd its start, an NFLOG capture all.
std::uint32_t snapLength(CaptureKind kind) {
    return kind == CaptureKind::nflog ? 262'144 : 160;
}

constexpr std::size_t kFlushSize = 1 << 20;
constexpr std::int64_t kNanosPerSecond = 1'000'000'000;

void appendFileHeader(Bytes& bytes, const CaptureOptions& options) {
    bytes.own32(options.precision == Precision::nanoseconds ? 0xA1B23C4D : 0xA1B2C3D4);
    bytes.own16(2);
    bytes.own16(4);
    bytes.own32(0);
    bytes.own32(0);
    bytes.own32(snapLength(options.kind));
    bytes.own32(linkTypeOf(options.kind));
}

void appendPacket(Bytes& bytes, const CaptureOptions& options, std::int64_t nanos,
                  const std::vector<std::uint8_t>& packet) {
    const auto fraction = static_cast<std::uint32_t>(nanos % kNanosPerSecond);
    const auto size = static_cast<std::uint32_t>(packet.size());
    bytes.own32(static_cast<std::uint32_t>(nanos / kNanosPerSecond));
    bytes.own32(options.precision == Precision::nanoseconds ? fraction : fraction / 1000);
    const std::uint32_t kept = std::min(size, snapLength(options.kind));
    bytes.own32(kept);
    bytes.own32(size);
    bytes.bytes().insert(bytes.bytes().end(), packet.begin(), packet.begin() + kept);
}

/// When packet `index` came: evenly spread, shaken within its share of the span.
std::int64_t timeOf(const CaptureOptions& options, std::uint64_t index, Random& random) {
    const std::int64_t span = options.span * kNanosPerSecond;
    const std::int64_t share = span / static_cast<std::int64_t>(options.count);
    const auto shake =
        static_cast<std::int64_t>(share > 0 ? random.below(static_cast<std::uint64_t>(share)) : 0);
    return options.start * kNanosPerSecond + share * static_cast<std::int64_t>(index) + shake;
}

} // namespace

std::span<const CaptureKindName> captureKinds() {
    return kKinds;
}

tl::expected<void, std::string> writeCapture(const CaptureOptions& options,
                                             const std::string& path) {
    const auto failure = [&path] { return tl::unexpected(path + ": " + std::strerror(errno)); };
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "wb"),
                                                         &std::fclose);
    if (!file)
        return failure();

    Traffic traffic(options.seed, options.addresses, options.remote);
    Random clock(~options.seed);
    Bytes bytes(options.order);
    Bytes packet(options.order);
    appendFileHeader(bytes, options);
    for (std::uint64_t index = 0; index < options.count; ++index) {
        packet.bytes().clear();
        appendLogPacket(packet, traffic.next(), options.kind, static_cast<std::uint32_t>(index));
        appendPacket(bytes, options, timeOf(options, index, clock), packet.bytes());
        if (bytes.bytes().size() >= kFlushSize) {
            if (std::fwrite(bytes.bytes().data(), bytes.bytes().size(), 1, file.get()) != 1)
                return failure();
            bytes.bytes().clear();
        }
    }
    if (!bytes.bytes().empty() &&
        std::fwrite(bytes.bytes().data(), bytes.bytes().size(), 1, file.get()) != 1)
        return failure();
    if (std::fclose(file.release()) != 0)
        return failure();
    return {};
}

} // namespace brindle::bench
