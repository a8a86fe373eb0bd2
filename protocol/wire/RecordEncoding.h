// SPDX-License-Identifier: BSD-2-Clause
//
// Between the plain forms of records and their wire forms: batches of a query answer, and single
// live records. Pure functions, used by workers (encoding) and by the delivery thread (decoding).
#pragma once

#include "core/log/records/PacketRecord.h"
#include "core/log/records/RecordBatch.h"
#include "core/log/records/RecordDictionary.h"
#include "protocol/wire/tallyd.capnp.h"

#include <cstdint>
#include <memory>

#include <capnp/message.h>

namespace brindle::wire {

/// A message that holds one RecordBatch, made off the loop thread.
std::unique_ptr<capnp::MallocMessageBuilder> encodeRecords(const brindle::RecordBatch& batch);
/// Null when the columns differ in length or a text that is named is not there.
std::shared_ptr<const brindle::RecordBatch> decodeRecords(RecordBatch::Reader wire);

/// The words that a live record takes, for the size of its message.
std::uint64_t liveRecordWords(const PacketRecord& record);
void encodeLive(const StoredRecord& stored, LiveRecord::Builder wire);
/// Every key of LiveKey is set.
LiveRecordDictionary decodeLive(LiveRecord::Reader wire);

} // namespace brindle::wire
