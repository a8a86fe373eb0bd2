// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/sources/follow/FollowedContent.h"

#include "tallyd/sources/ip/ByteOrder.h"
#include "tallyd/sources/nflog/NflogDecoder.h"
#include "tallyd/sources/pflog/PflogDecoder.h"

#include <array>
#include <optional>
#include <utility>

#include <fmt/format.h>

namespace brindle::tallyd {

namespace {

class CaptureContent final : public FollowedContent {
  public:
    CaptureContent(CaptureKind kind, ActionPatterns patterns)
        : kind_(kind), patterns_(std::move(patterns)) {}

    std::unique_ptr<Framing> framing() const override { return std::make_unique<CaptureFraming>(); }

    tl::expected<FollowedRecords, std::string> decode(const FollowedText& found,
                                                      const FileFollower& follower) override {
        // The text may be another file's than the last one was.
        if (const std::string problem = readFileHeader(follower); !problem.empty())
            return tl::unexpected(problem);
        FollowedRecords made;
        PacketBytes rest(reinterpret_cast<const std::uint8_t*>(found.text.data()),
                         found.text.size());
        while (rest.size() >= CaptureFraming::kPacketHeader) {
            const std::int64_t micros =
                std::int64_t{hostOrder<std::uint32_t>(rest, 0)} * 1'000'000 +
                hostOrder<std::uint32_t>(rest, 4) / (isNanos_ ? 1000 : 1);
            const std::size_t length = hostOrder<std::uint32_t>(rest, 8);
            rest = rest.subspan(CaptureFraming::kPacketHeader);
            auto record = decoder_->decode(rest.first(length), micros);
            rest = rest.subspan(length);
            if (record)
                made.records.push_back(std::move(*record));
            else
                ++made.undecoded[record.error()];
        }
        if (const std::uint64_t missed = decoder_->takeMissed())
            made.undecoded["missing in the capture"] += missed;
        return made;
    }

  private:
    std::string readFileHeader(const FileFollower& follower) {
        std::array<char, CaptureFraming::kFileHeader> header{};
        follower.readStart(header.data(), header.size());
        const PacketBytes bytes(reinterpret_cast<const std::uint8_t*>(header.data()),
                                header.size());
        const auto stamps = CaptureFraming::stampsOf({header.data(), header.size()});
        if (!stamps)
            return "not a pcap file in this machine's byte order";
        isNanos_ = *stamps == CaptureFraming::Stamps::nanos;
        // The upper bits say other things.
        const int linkType = hostOrder<std::uint32_t>(bytes, 20) & 0xFFFF;
        if (linkType_ != linkType)
            decoder_ = decoderFor(linkType);
        linkType_ = linkType;
        return decoder_ ? std::string()
                        : fmt::format("link type {} is not that of {}", linkType,
                                      kind_ == CaptureKind::pflog ? "pflog" : "NFLOG");
    }

    std::unique_ptr<PacketDecoder> decoderFor(int linkType) const {
        if (kind_ == CaptureKind::pflog && linkType == kPflogLinkType)
            return std::make_unique<PflogDecoder>();
        if (kind_ == CaptureKind::pflog && linkType == kOldPflogLinkType)
            return std::make_unique<OldPflogDecoder>();
        if (kind_ == CaptureKind::nflog && linkType == kNflogLinkType)
            return std::make_unique<NflogDecoder>(patterns_);
        return nullptr;
    }

    const CaptureKind kind_;
    const ActionPatterns patterns_;
    std::optional<int> linkType_;
    bool isNanos_ = false;
    std::unique_ptr<PacketDecoder> decoder_;
};

} // namespace

std::unique_ptr<FollowedContent> captureContent(CaptureKind kind, ActionPatterns patterns) {
    return std::make_unique<CaptureContent>(kind, std::move(patterns));
}

} // namespace brindle::tallyd
