// SPDX-License-Identifier: BSD-2-Clause
//
// Reads a packet filter's log device through libpcap as its packets come: an NFLOG group or a pflog
// interface. See SourceReader for who calls it.
//
//     LiveSource source("nflog:5", std::make_unique<LiveCapture>([] { return openNflogGroup(5);
//     }));
#pragma once

#include "tallyd/sources/ip/PacketDecoder.h"
#include "tallyd/sources/live/SourceReader.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <tl/expected.hpp>

struct pcap;

namespace brindle::tallyd {

struct ClosePcap {
    void operator()(pcap* capture) const;
};
using PcapHandle = std::unique_ptr<pcap, ClosePcap>;

/// A device that delivers. pcap_dispatch() on it does not wait when its descriptor has no input.
struct OpenCapture {
    PcapHandle handle;
    std::unique_ptr<PacketDecoder> decoder;
};

/// Error: why the device cannot be had now, without its name.
using OpenCaptureDevice = std::function<tl::expected<OpenCapture, std::string>()>;

class LiveCapture final : public SourceReader {
  public:
    explicit LiveCapture(OpenCaptureDevice openDevice) : openDevice_(std::move(openDevice)) {}

    tl::expected<void, std::string> open() override;
    std::string read(SourceFeed& feed) override;

  private:
    class Batch;

    void countKernelDrops(SourceFeed& feed);

    const OpenCaptureDevice openDevice_;
    OpenCapture capture_;
    std::uint32_t dropsTold_ = 0; ///< of the open device, modulo 2^32 as it counts
};

} // namespace brindle::tallyd
