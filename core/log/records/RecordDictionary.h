// SPDX-License-Identifier: BSD-2-Clause
//
// The two dictionary forms of a log entry: the record dictionary (lower-case keys, all texts),
// which rows are made of, and the live record dictionary (upper-case keys, typed values), which the
// daemon streams. Both have a fixed set of keys, so a slot a key replaces a map. Plain values.
//
//     record.set(RecordKey::srcip, "192.0.2.1");
//     if (auto port = record.get(RecordKey::dstport)) ...
#pragma once

#include "core/log/records/RecordBatch.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace brindle {

enum class RecordKey : std::uint8_t {
    date,
    epoch,
    uid,
    rule,
    action,
    direction,
    interface,
    srcip,
    srcport,
    dstip,
    dstport,
    proto,
    count
};

enum class LiveKey : std::uint8_t {
    EPOCH,
    UID,
    RULE,
    ACTION,
    DIRECTION,
    INTERFACE,
    SRCIP,
    SRCPORT,
    DSTIP,
    DSTPORT,
    PROTO,
    IPVER,
    SEQ, ///< the record's sequence number: an addition to the stream, never part of a row
    count
};

/// The key as it stands in the dictionary: "date", "srcip" …
std::string_view keyName(RecordKey key);
/// "EPOCH", "SRCIP" …
std::string_view keyName(LiveKey key);

class RecordDictionary {
  public:
    std::optional<std::string_view> get(RecordKey key) const {
        const auto& slot = slots_[static_cast<std::size_t>(key)];
        return slot ? std::optional<std::string_view>(*slot) : std::nullopt;
    }
    void set(RecordKey key, std::string text) {
        slots_[static_cast<std::size_t>(key)] = std::move(text);
    }
    void remove(RecordKey key) { slots_[static_cast<std::size_t>(key)].reset(); }
    /// The first required key that is missing; every key is required for a row.
    std::optional<RecordKey> firstMissing() const;

    friend bool operator==(const RecordDictionary&, const RecordDictionary&) = default;

  private:
    std::array<std::optional<std::string>, static_cast<std::size_t>(RecordKey::count)> slots_;
};

using LiveValue = std::variant<std::monostate, double, std::int64_t, std::string>;

class LiveRecordDictionary {
  public:
    const LiveValue& get(LiveKey key) const { return slots_[static_cast<std::size_t>(key)]; }
    void set(LiveKey key, LiveValue value) {
        slots_[static_cast<std::size_t>(key)] = std::move(value);
    }
    /// The value when it is there and of that type.
    const std::string* text(LiveKey key) const { return std::get_if<std::string>(&get(key)); }
    const double* number(LiveKey key) const { return std::get_if<double>(&get(key)); }
    const std::int64_t* integer(LiveKey key) const { return std::get_if<std::int64_t>(&get(key)); }

    friend bool operator==(const LiveRecordDictionary&, const LiveRecordDictionary&) = default;

  private:
    std::array<LiveValue, static_cast<std::size_t>(LiveKey::count)> slots_;
};

/// The record dictionary of a live record: "date" in the machine's local time zone, "epoch" as the
/// shortest decimal text. A text key that is missing or of another type is left out. Nothing when
/// "EPOCH", "UID", "SRCPORT" or "DSTPORT" is missing or of another type.
std::optional<RecordDictionary> convertLiveRecord(const LiveRecordDictionary& live);

/// The record dictionary of one row of a query answer, in the same form as convertLiveRecord.
RecordDictionary recordDictionary(const RecordBatch& batch, std::size_t row);

} // namespace brindle
