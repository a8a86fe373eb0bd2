// SPDX-License-Identifier: BSD-2-Clause
//
// A packet capture as an input: pcap with micro- or nanoseconds, pcapng, of either byte order, with
// pflog or NFLOG packets. Made by openInput; one thread.
#pragma once

#include "tallyd/sources/InputFile.h"
#include "tallyd/sources/InputStream.h"
#include "tallyd/sources/actions/ActionPatterns.h"
#include "tallyd/sources/ip/PacketDecoder.h"

#include <memory>
#include <string_view>

struct pcap;

namespace brindle::tallyd {

/// The decoder for packets of a link type (a DLT_ number, as pcap_datalink() tells it); none for a
/// link type that carries no packet filter's log. `patterns`: what a prefix means.
std::unique_ptr<PacketDecoder> makePacketDecoder(int linkType,
                                                 ActionPatterns patterns = ActionPatterns());

class CaptureInput final : public InputFile {
  public:
    /// Whether an input that starts with these bytes (4 are enough) is a capture.
    static bool recognises(std::string_view start);

    static tl::expected<std::unique_ptr<InputFile>, std::string>
    open(InputStream stream, ActionPatterns patterns = ActionPatterns());
    ~CaptureInput() override;

    bool read(std::vector<PacketRecord>& records, std::size_t limit) override;
    const std::map<std::string, std::uint64_t>& skipped() const override { return skipped_; }
    const std::string& problem() const override { return problem_; }

  private:
    struct ClosePcap {
        void operator()(pcap* capture) const;
    };

    CaptureInput(InputStream stream, std::unique_ptr<pcap, ClosePcap> capture,
                 std::unique_ptr<PacketDecoder> decoder);
    void stopAtDamage();

    InputStream stream_; // its buffer outlives the capture that reads through it
    std::unique_ptr<pcap, ClosePcap> capture_;
    std::unique_ptr<PacketDecoder> decoder_;
    std::uint64_t packets_ = 0;
    std::map<std::string, std::uint64_t> skipped_;
    std::string problem_;
};

} // namespace brindle::tallyd
