// SPDX-License-Identifier: BSD-2-Clause
//
// What a record needs of an IPv4 or IPv6 packet: addresses, transport protocol, ports. Called by
// the packet decoders on the thread of their source. The packet is foreign input: any bytes, cut
// anywhere, with lengths that lie.
#pragma once

#include "core/log/records/PacketRecord.h"
#include "tallyd/sources/ip/ByteOrder.h"

#include <cstdint>
#include <string_view>

#include <tl/expected.hpp>

namespace brindle::tallyd {

struct IpFields {
    IpAddress src;
    IpAddress dst;
    std::uint8_t protocol = 0; ///< IPv6: of the header after the extension headers
    std::uint16_t srcport = 0; ///< 0: no ports in this protocol, a later fragment, or cut off
    std::uint16_t dstport = 0;
};

/// Reads as far as the packet goes; the version is that of its first byte. Error: the reason why
/// there are not both addresses, a text that lives as long as the program.
tl::expected<IpFields, std::string_view> readIpPacket(PacketBytes packet);

/// Copies the fields into a record, the protocol by its name.
void setIpFields(PacketRecord& record, const IpFields& fields);

} // namespace brindle::tallyd
