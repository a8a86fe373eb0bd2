// SPDX-License-Identifier: BSD-2-Clause
//
// Numbers out of raw packet bytes, whatever their alignment. The caller has checked that the bytes
// are there. Used by the decoders only; callable from any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

namespace brindle::tallyd {

using PacketBytes = std::span<const std::uint8_t>;

/// Two bytes in network byte order.
inline std::uint16_t bigEndian16(PacketBytes bytes, std::size_t offset) {
    return static_cast<std::uint16_t>(bytes[offset] << 8 | bytes[offset + 1]);
}

/// Four bytes in network byte order.
inline std::uint32_t bigEndian32(PacketBytes bytes, std::size_t offset) {
    return static_cast<std::uint32_t>(bigEndian16(bytes, offset)) << 16 |
           bigEndian16(bytes, offset + 2);
}

/// A number in the byte order of this machine.
template <typename Number>
Number hostOrder(PacketBytes bytes, std::size_t offset) {
    Number number;
    std::memcpy(&number, bytes.data() + offset, sizeof number);
    return number;
}

} // namespace brindle::tallyd
