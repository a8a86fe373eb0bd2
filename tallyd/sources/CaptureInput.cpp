// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/sources/CaptureInput.h"

#include "tallyd/sources/nflog/NflogDecoder.h"
#include "tallyd/sources/pflog/PflogDecoder.h"

#include <algorithm>
#include <fmt/format.h>
#include <pcap/pcap.h>

namespace brindle::tallyd {

std::unique_ptr<PacketDecoder> makePacketDecoder(int linkType, ActionPatterns patterns) {
    switch (linkType) {
    case kPflogLinkType:
        return std::make_unique<PflogDecoder>();
    case kOldPflogLinkType:
        return std::make_unique<OldPflogDecoder>();
    case kNflogLinkType:
        return std::make_unique<NflogDecoder>(std::move(patterns));
    default:
        return nullptr;
    }
}

bool CaptureInput::recognises(std::string_view start) {
    using namespace std::string_view_literals;
    // pcap with micro- and nanoseconds in both orders, an old variant of it, pcapng.
    for (const std::string_view magic :
         {"\xA1\xB2\xC3\xD4"sv, "\xD4\xC3\xB2\xA1"sv, "\xA1\xB2\x3C\x4D"sv, "\x4D\x3C\xB2\xA1"sv,
          "\xA1\xB2\xCD\x34"sv, "\x34\xCD\xB2\xA1"sv, "\x0A\x0D\x0D\x0A"sv})
        if (start.substr(0, magic.size()) == magic)
            return true;
    return false;
}

namespace {

/// Microseconds since 1970; a pcapng file can claim any time, one beyond reckoning is held.
std::int64_t microsOf(const timeval& time) {
    constexpr std::int64_t kFarthest = std::int64_t{1} << 42;
    const std::int64_t seconds = std::clamp<std::int64_t>(time.tv_sec, -kFarthest, kFarthest);
    return seconds * 1'000'000 + time.tv_usec;
}

} // namespace

void CaptureInput::ClosePcap::operator()(pcap* capture) const {
    pcap_close(capture);
}

CaptureInput::CaptureInput(InputStream stream, std::unique_ptr<pcap, ClosePcap> capture,
                           std::unique_ptr<PacketDecoder> decoder)
    : stream_(std::move(stream)), capture_(std::move(capture)), decoder_(std::move(decoder)) {}

CaptureInput::~CaptureInput() = default;

tl::expected<std::unique_ptr<InputFile>, std::string> CaptureInput::open(InputStream stream,
                                                                         ActionPatterns patterns) {
    char reason[PCAP_ERRBUF_SIZE] = "";
    std::unique_ptr<pcap, ClosePcap> capture(pcap_fopen_offline_with_tstamp_precision(
        stream.file(), PCAP_TSTAMP_PRECISION_MICRO, reason));
    if (!capture)
        return tl::unexpected(fmt::format("{}: {}", stream.name(), reason));
    stream.giveUpFile();

    const int linkType = pcap_datalink(capture.get());
    auto decoder = makePacketDecoder(linkType, std::move(patterns));
    if (!decoder) {
        const char* name = pcap_datalink_val_to_name(linkType);
        return tl::unexpected(
            fmt::format("{}: link type {}{} carries no packet filter's log (pflog and NFLOG do)",
                        stream.name(), linkType, name ? fmt::format(" ({})", name) : ""));
    }
    return std::unique_ptr<InputFile>(
        new CaptureInput(std::move(stream), std::move(capture), std::move(decoder)));
}

bool CaptureInput::read(std::vector<PacketRecord>& records, std::size_t limit) {
    while (limit > 0) {
        pcap_pkthdr* header = nullptr;
        const u_char* bytes = nullptr;
        const int outcome = pcap_next_ex(capture_.get(), &header, &bytes);
        if (outcome == PCAP_ERROR)
            stopAtDamage();
        if (outcome != 1)
            return false;

        ++packets_;
        auto record = decoder_->decode({bytes, header->caplen}, microsOf(header->ts));
        if (record) {
            records.push_back(std::move(*record));
            --limit;
        } else {
            ++skipped_[std::string(record.error())];
        }
    }
    return true;
}

void CaptureInput::stopAtDamage() {
    const std::string_view reason = pcap_geterr(capture_.get());
    const bool cut = reason.starts_with("truncated dump file");
    problem_ = fmt::format("{}: packet {} {}: {}", stream_.name(), packets_ + 1,
                           cut ? "is cut short" : "cannot be read", reason);
}

} // namespace brindle::tallyd
