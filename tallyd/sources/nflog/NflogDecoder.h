// SPDX-License-Identifier: BSD-2-Clause
//
// Packets of Netfilter's NFLOG target (link type 239), from a capture or a live group. There is no
// verdict in them: the action comes from the rule's prefix. See PacketDecoder for who calls it.
#pragma once

#include "tallyd/sources/actions/ActionPatterns.h"
#include "tallyd/sources/ip/PacketDecoder.h"
#include "tallyd/sources/nflog/InterfaceNames.h"

#include <optional>

namespace brindle::tallyd {

/// Link type as pcap_datalink() tells it.
inline constexpr int kNflogLinkType = 239;

class NflogDecoder final : public PacketDecoder {
  public:
    explicit NflogDecoder(ActionPatterns patterns = ActionPatterns(),
                          InterfaceNames interfaces = InterfaceNames())
        : actions_(std::move(patterns)), interfaces_(std::move(interfaces)) {}

    tl::expected<PacketRecord, std::string_view> decode(PacketBytes packet,
                                                        std::int64_t timeMicros) override;

    /// Packets that the kernel dropped before they got here, by the gaps in the group's sequence
    /// numbers, since the last call. 0 while the group does not number its packets.
    std::uint64_t takeMissed() override;

  private:
    void followSequence(std::uint32_t sequence);

    PrefixActions actions_;
    InterfaceNames interfaces_;
    std::optional<std::uint32_t> lastSequence_;
    std::uint64_t missed_ = 0;
};

} // namespace brindle::tallyd
