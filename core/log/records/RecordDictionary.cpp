// SPDX-License-Identifier: BSD-2-Clause
#include "core/log/records/RecordDictionary.h"

#include "core/log/records/RecordText.h"

namespace brindle {

std::string_view keyName(RecordKey key) {
    static constexpr std::array<std::string_view, static_cast<std::size_t>(RecordKey::count)> names{
        "date",      "epoch", "uid",     "rule",  "action",  "direction",
        "interface", "srcip", "srcport", "dstip", "dstport", "proto"};
    return names[static_cast<std::size_t>(key)];
}

std::string_view keyName(LiveKey key) {
    static constexpr std::array<std::string_view, static_cast<std::size_t>(LiveKey::count)> names{
        "EPOCH",   "UID",   "RULE",    "ACTION", "DIRECTION", "INTERFACE", "SRCIP",
        "SRCPORT", "DSTIP", "DSTPORT", "PROTO",  "IPVER",     "SEQ"};
    return names[static_cast<std::size_t>(key)];
}

std::optional<RecordKey> RecordDictionary::firstMissing() const {
    for (std::size_t i = 0; i < slots_.size(); ++i)
        if (!slots_[i])
            return static_cast<RecordKey>(i);
    return std::nullopt;
}

std::optional<RecordDictionary> convertLiveRecord(const LiveRecordDictionary& live) {
    const double* epoch = live.number(LiveKey::EPOCH);
    const std::int64_t* uid = live.integer(LiveKey::UID);
    const std::int64_t* srcport = live.integer(LiveKey::SRCPORT);
    const std::int64_t* dstport = live.integer(LiveKey::DSTPORT);
    if (!epoch || !uid || !srcport || !dstport)
        return std::nullopt;

    RecordDictionary record;
    const auto copyText = [&](LiveKey from, RecordKey to) {
        if (const std::string* text = live.text(from))
            record.set(to, *text);
    };
    record.set(RecordKey::epoch, epochText(*epoch));
    record.set(RecordKey::date, dateText(*epoch));
    record.set(RecordKey::uid, std::to_string(*uid));
    copyText(LiveKey::RULE, RecordKey::rule);
    copyText(LiveKey::ACTION, RecordKey::action);
    copyText(LiveKey::DIRECTION, RecordKey::direction);
    copyText(LiveKey::INTERFACE, RecordKey::interface);
    copyText(LiveKey::SRCIP, RecordKey::srcip);
    record.set(RecordKey::srcport, std::to_string(*srcport));
    copyText(LiveKey::DSTIP, RecordKey::dstip);
    record.set(RecordKey::dstport, std::to_string(*dstport));
    copyText(LiveKey::PROTO, RecordKey::proto);
    return record;
}

RecordDictionary recordDictionary(const RecordBatch& batch, std::size_t index) {
    const RecordRow& row = batch.row(index);
    RecordDictionary record;
    record.set(RecordKey::date, dateText(row.epoch));
    record.set(RecordKey::epoch, epochText(row.epoch));
    record.set(RecordKey::uid, std::to_string(row.uid));
    record.set(RecordKey::rule, std::string(batch.text(row.rule)));
    record.set(RecordKey::action, std::string(batch.text(row.action)));
    record.set(RecordKey::direction, std::string(batch.text(row.direction)));
    record.set(RecordKey::interface, std::string(batch.text(row.interface)));
    record.set(RecordKey::srcip, std::string(batch.text(row.srcip)));
    record.set(RecordKey::srcport, std::to_string(row.srcport));
    record.set(RecordKey::dstip, std::string(batch.text(row.dstip)));
    record.set(RecordKey::dstport, std::to_string(row.dstport));
    record.set(RecordKey::proto, std::string(batch.text(row.proto)));
    return record;
}

} // namespace brindle
