// SPDX-License-Identifier: BSD-2-Clause
//
// Packet fixtures written as hexadecimal text, blanks for the reader's eye. Tests only.
#pragma once

#include "tallyd/sources/ip/ByteOrder.h"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

namespace brindle::tallyd {

/// "4500 0034" as bytes.
inline std::vector<std::uint8_t> hex(std::string_view text) {
    std::vector<std::uint8_t> bytes;
    int half = -1;
    for (const char c : text) {
        if (c == ' ' || c == '\n')
            continue;
        const int digit = c <= '9' ? c - '0' : c - 'a' + 10;
        if (half < 0) {
            half = digit;
        } else {
            bytes.push_back(static_cast<std::uint8_t>(half << 4 | digit));
            half = -1;
        }
    }
    return bytes;
}

inline std::vector<std::uint8_t> operator+(std::vector<std::uint8_t> left,
                                           const std::vector<std::uint8_t>& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

/// Calls `decode` with every beginning of a packet, each in memory of just its size, so that the
/// address sanitizer sees a read beyond it.
template <typename Decode>
void forEveryCut(const std::vector<std::uint8_t>& packet, Decode decode) {
    for (std::size_t size = 0; size <= packet.size(); ++size) {
        const std::unique_ptr<std::uint8_t[]> exact(new std::uint8_t[size]);
        std::copy_n(packet.begin(), size, exact.get());
        decode(PacketBytes(exact.get(), size));
    }
}

} // namespace brindle::tallyd
