// SPDX-License-Identifier: BSD-2-Clause
//
// Between the plain forms of count replies and the daemon's status and their wire forms. Pure
// functions.
#pragma once

#include "protocol/DaemonStatus.h"
#include "protocol/TallydHelperProtocol.h"
#include "protocol/wire/tallyd.capnp.h"

#include <memory>
#include <optional>
#include <span>
#include <vector>

#include <capnp/message.h>

namespace brindle::wire {

/// So many entries at the most travel in one message.
inline constexpr std::size_t kCountBatchEntries = 16384;

/// A message that holds one CountBatch, made off the loop thread.
std::unique_ptr<capnp::MallocMessageBuilder> encodeCounts(std::span<const CountEntry> entries);
/// Appends to `entries`; false when the columns do not fit each other.
bool decodeCounts(CountBatch::Reader wire, std::vector<CountEntry>& entries);

void encodeEpoch(const std::optional<double>& epoch, MaybeEpoch::Builder wire);
std::optional<double> decodeEpoch(MaybeEpoch::Reader wire);

void encodeStatus(const brindle::DaemonStatus& status, DaemonStatus::Builder wire);
/// Nothing when it has more sources, or reasons for a loss, than any daemon. On the wire entries
/// may take no bytes: without a limit a short message could fill the memory.
std::optional<brindle::DaemonStatus> decodeStatus(DaemonStatus::Reader wire);

} // namespace brindle::wire
