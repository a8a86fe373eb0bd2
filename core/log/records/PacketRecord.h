// SPDX-License-Identifier: BSD-2-Clause
//
// One log entry as the daemon handles it: typed, compact, made by a decoder, stored once, published
// to live clients. Values only; copied and moved freely between threads.
#pragma once

#include "core/net/IpAddress.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace brindle {

enum class Action : std::uint8_t { pass = 0, block = 1 };
enum class Direction : std::uint8_t { in = 0, out = 1 };

constexpr std::string_view actionText(Action action) {
    return action == Action::block ? "block" : "pass";
}
constexpr std::string_view directionText(Direction direction) {
    return direction == Direction::out ? "out" : "in";
}
/// Only "block" and "out" are told apart; every other text counts as pass or in.
constexpr Action actionFromText(std::string_view text) {
    return text == "block" ? Action::block : Action::pass;
}
constexpr Direction directionFromText(std::string_view text) {
    return text == "out" ? Direction::out : Direction::in;
}

/// The uid of a packet that had no socket, or whose rule did not look it up.
inline constexpr std::uint32_t kNoUid = 4294967295u;

struct PacketRecord {
    std::int64_t timeMicros = 0; ///< microseconds since 1970-01-01 00:00 UTC
    std::uint32_t uid = kNoUid;  ///< as the filter recorded it
    Action action = Action::pass;
    Direction direction = Direction::in;
    std::uint16_t srcport = 0; ///< host byte order; 0 for protocols without ports
    std::uint16_t dstport = 0;
    IpAddress src;
    IpAddress dst;
    std::string rule; ///< rule number (with anchor) or log prefix
    std::string interface;
    std::string proto; ///< lower-case name of /etc/protocols, or a number

    friend bool operator==(const PacketRecord&, const PacketRecord&) = default;
};

/// A record after its batch was committed. `sequence` grows by storing order, starting at 1.
struct StoredRecord {
    std::uint64_t sequence = 0;
    PacketRecord record;
};

} // namespace brindle
