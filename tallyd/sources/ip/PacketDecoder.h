// SPDX-License-Identifier: BSD-2-Clause
//
// A decoder for the packets of one link type, from a capture file or a live device alike. Owned by
// the one source or input that reads the packets, called on its thread only.
#pragma once

#include "core/log/records/PacketRecord.h"
#include "tallyd/sources/ip/ByteOrder.h"

#include <cstdint>
#include <string_view>

#include <tl/expected.hpp>

namespace brindle::tallyd {

class PacketDecoder {
  public:
    virtual ~PacketDecoder() = default;

    /// `packet`: the captured bytes as libpcap hands them out, any length, any content.
    /// `timeMicros`: when it was captured, microseconds since 1970. Error: why it makes no record,
    /// a text that lives as long as the program and serves as a counter's name.
    virtual tl::expected<PacketRecord, std::string_view> decode(PacketBytes packet,
                                                                std::int64_t timeMicros) = 0;

    /// Packets that never got here, by the numbers in those that did, since the last call. 0 where
    /// packets have none.
    virtual std::uint64_t takeMissed() { return 0; }
};

} // namespace brindle::tallyd
