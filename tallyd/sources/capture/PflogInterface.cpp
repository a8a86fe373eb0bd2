// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/sources/capture/CaptureDevices.h"

#include "tallyd/sources/pflog/PflogDecoder.h"

#include <fmt/format.h>
#include <pcap/pcap.h>

namespace brindle::tallyd {

namespace {

/// pf's header, which may grow, and the packet's own headers.
constexpr int kSnapshotBytes = 1024;
constexpr int kBufferBytes = 16 * 1024 * 1024;
/// Where a system cannot deliver each packet at once: how long it may collect.
constexpr int kHoldMilliseconds = 20;

std::unique_ptr<PacketDecoder> decoderFor(int linkType) {
    if (linkType == kPflogLinkType)
        return std::make_unique<PflogDecoder>();
    if (linkType == kOldPflogLinkType)
        return std::make_unique<OldPflogDecoder>();
    return nullptr;
}

std::string reasonOf(pcap* handle, int outcome) {
    const std::string detail = pcap_geterr(handle);
    switch (outcome) {
    case PCAP_ERROR_NO_SUCH_DEVICE:
        return "there is no such interface";
    case PCAP_ERROR_PERM_DENIED:
        return "no right to capture";
    case PCAP_ERROR_IFACE_NOT_UP:
        return "the interface is not up";
    default:
        return detail.empty() ? pcap_statustostr(outcome) : detail;
    }
}

} // namespace

tl::expected<OpenCapture, std::string> openPflogInterface(const std::string& interface) {
    char reason[PCAP_ERRBUF_SIZE] = "";
    PcapHandle handle(pcap_create(interface.c_str(), reason));
    if (!handle)
        return tl::unexpected(std::string(reason));
    pcap_set_snaplen(handle.get(), kSnapshotBytes);
    pcap_set_buffer_size(handle.get(), kBufferBytes);
    pcap_set_immediate_mode(handle.get(), 1);
    pcap_set_timeout(handle.get(), kHoldMilliseconds);
    if (const int outcome = pcap_activate(handle.get()); outcome < 0)
        return tl::unexpected(reasonOf(handle.get(), outcome));

    const int linkType = pcap_datalink(handle.get());
    auto decoder = decoderFor(linkType);
    if (!decoder) {
        const char* const name = pcap_datalink_val_to_description(linkType);
        return tl::unexpected(fmt::format("the interface carries {}, not pf's log",
                                          name ? name : fmt::format("link type {}", linkType)));
    }
    if (pcap_setnonblock(handle.get(), 1, reason) != 0)
        return tl::unexpected(std::string(reason));
    return OpenCapture{std::move(handle), std::move(decoder)};
}

} // namespace brindle::tallyd
