// SPDX-License-Identifier: BSD-2-Clause
//
// pf's own log packets (link type 117) of every system that has pf: the header's length byte tells
// the layouts apart. See PacketDecoder for who calls it.
//
//     PflogDecoder decoder;
//     auto record = decoder.decode(packet, timeMicros);
#pragma once

#include "tallyd/sources/ip/PacketDecoder.h"

namespace brindle::tallyd {

/// Link types as pcap_datalink() tells them.
inline constexpr int kPflogLinkType = 117;
inline constexpr int kOldPflogLinkType = 17;

class PflogDecoder final : public PacketDecoder {
  public:
    tl::expected<PacketRecord, std::string_view> decode(PacketBytes packet,
                                                        std::int64_t timeMicros) override;
};

/// The form before OpenBSD 3.4 (link type 17): no uid, no anchor.
class OldPflogDecoder final : public PacketDecoder {
  public:
    tl::expected<PacketRecord, std::string_view> decode(PacketBytes packet,
                                                        std::int64_t timeMicros) override;
};

} // namespace brindle::tallyd
