// SPDX-License-Identifier: BSD-2-Clause
#include "protocol/wire/RecordEncoding.h"

#include "protocol/wire/TextTable.h"

#include <utility>
#include <vector>

namespace brindle::wire {

namespace {

/// Fills one column; `field` picks its value from a row.
template <typename List, typename Field>
void fillColumn(List list, std::span<const RecordRow> rows, Field field) {
    for (std::size_t i = 0; i < rows.size(); ++i)
        list.set(static_cast<kj::uint>(i), rows[i].*field);
}

/// Writes one column into the rows; false when it has another length.
template <typename Number, typename List, typename Field>
bool takeColumn(List list, std::vector<RecordRow>& rows, Field field) {
    if (list.size() != rows.size())
        return false;
    const std::vector<Number> column = copyColumn<Number>(list);
    for (std::size_t i = 0; i < rows.size(); ++i)
        rows[i].*field = column[i];
    return true;
}

capnp::Data::Reader wireBytes(const IpAddress& address) {
    const auto bytes = address.bytes();
    return {bytes.data(), bytes.size()};
}

std::string addressText(capnp::Data::Reader bytes) {
    return IpAddress::fromBytes({bytes.begin(), bytes.size()}).text();
}

} // namespace

std::unique_ptr<capnp::MallocMessageBuilder> encodeRecords(const brindle::RecordBatch& batch) {
    const std::size_t bytes = batch.size() * sizeof(RecordRow) + batch.characters().size() +
                              batch.textCount() * sizeof(std::uint32_t);
    constexpr std::size_t kPointersAndPadding = 64;
    auto message = std::make_unique<capnp::MallocMessageBuilder>(
        static_cast<kj::uint>(bytes / sizeof(capnp::word) + kPointersAndPadding));
    auto wire = message->initRoot<RecordBatch>();
    const auto rows = batch.rows();
    const auto count = static_cast<kj::uint>(rows.size());
    fillColumn(wire.initEpochs(count), rows, &RecordRow::epoch);
    fillColumn(wire.initUids(count), rows, &RecordRow::uid);
    fillColumn(wire.initSrcports(count), rows, &RecordRow::srcport);
    fillColumn(wire.initDstports(count), rows, &RecordRow::dstport);
    fillColumn(wire.initRules(count), rows, &RecordRow::rule);
    fillColumn(wire.initActions(count), rows, &RecordRow::action);
    fillColumn(wire.initDirections(count), rows, &RecordRow::direction);
    fillColumn(wire.initInterfaces(count), rows, &RecordRow::interface);
    fillColumn(wire.initSrcips(count), rows, &RecordRow::srcip);
    fillColumn(wire.initDstips(count), rows, &RecordRow::dstip);
    fillColumn(wire.initProtos(count), rows, &RecordRow::proto);
    encodeTexts(batch.characters(), batch.textEnds(), wire.initTexts());
    return message;
}

std::shared_ptr<const brindle::RecordBatch> decodeRecords(RecordBatch::Reader wire) {
    std::vector<RecordRow> rows(wire.getEpochs().size());
    const bool whole =
        takeColumn<double>(wire.getEpochs(), rows, &RecordRow::epoch) &&
        takeColumn<std::uint32_t>(wire.getUids(), rows, &RecordRow::uid) &&
        takeColumn<std::uint16_t>(wire.getSrcports(), rows, &RecordRow::srcport) &&
        takeColumn<std::uint16_t>(wire.getDstports(), rows, &RecordRow::dstport) &&
        takeColumn<std::uint16_t>(wire.getRules(), rows, &RecordRow::rule) &&
        takeColumn<std::uint16_t>(wire.getActions(), rows, &RecordRow::action) &&
        takeColumn<std::uint16_t>(wire.getDirections(), rows, &RecordRow::direction) &&
        takeColumn<std::uint16_t>(wire.getInterfaces(), rows, &RecordRow::interface) &&
        takeColumn<std::uint16_t>(wire.getSrcips(), rows, &RecordRow::srcip) &&
        takeColumn<std::uint16_t>(wire.getDstips(), rows, &RecordRow::dstip) &&
        takeColumn<std::uint16_t>(wire.getProtos(), rows, &RecordRow::proto);
    if (!whole)
        return nullptr;
    return brindle::RecordBatch::fromParts(std::move(rows), decodeCharacters(wire.getTexts()),
                                           copyColumn<std::uint32_t>(wire.getTexts().getEnds()));
}

std::uint64_t liveRecordWords(const PacketRecord& record) {
    // Each text ends in a zero byte and fills up to whole words.
    const auto words = [](std::size_t bytes) { return bytes / sizeof(capnp::word) + 1; };
    return capnp::sizeInWords<LiveRecord>() + words(record.src.bytes().size()) +
           words(record.dst.bytes().size()) + words(record.rule.size()) +
           words(record.interface.size()) + words(record.proto.size());
}

void encodeLive(const StoredRecord& stored, LiveRecord::Builder wire) {
    const PacketRecord& record = stored.record;
    wire.setEpoch(static_cast<double>(record.timeMicros) / 1e6);
    wire.setSequence(stored.sequence);
    wire.setUid(record.uid);
    wire.setSrcport(record.srcport);
    wire.setDstport(record.dstport);
    wire.setIpVersion(static_cast<std::uint8_t>(record.src.family()));
    wire.setAction(record.action == brindle::Action::block ? Action::BLOCK : Action::PASS);
    wire.setDirection(record.direction == brindle::Direction::out ? Direction::OUT : Direction::IN);
    wire.setSrcip(wireBytes(record.src));
    wire.setDstip(wireBytes(record.dst));
    wire.setRule(wireText(record.rule));
    wire.setInterface(wireText(record.interface));
    wire.setProto(wireText(record.proto));
}

LiveRecordDictionary decodeLive(LiveRecord::Reader wire) {
    const auto integer = [](auto value) { return LiveValue(static_cast<std::int64_t>(value)); };
    const bool block = wire.getAction() == Action::BLOCK;
    const bool out = wire.getDirection() == Direction::OUT;
    LiveRecordDictionary live;
    live.set(LiveKey::EPOCH, wire.getEpoch());
    live.set(LiveKey::UID, integer(wire.getUid()));
    live.set(LiveKey::RULE, textOf(wire.getRule()));
    live.set(LiveKey::ACTION,
             std::string(actionText(block ? brindle::Action::block : brindle::Action::pass)));
    live.set(LiveKey::DIRECTION,
             std::string(directionText(out ? brindle::Direction::out : brindle::Direction::in)));
    live.set(LiveKey::INTERFACE, textOf(wire.getInterface()));
    live.set(LiveKey::SRCIP, addressText(wire.getSrcip()));
    live.set(LiveKey::SRCPORT, integer(wire.getSrcport()));
    live.set(LiveKey::DSTIP, addressText(wire.getDstip()));
    live.set(LiveKey::DSTPORT, integer(wire.getDstport()));
    live.set(LiveKey::PROTO, textOf(wire.getProto()));
    live.set(LiveKey::IPVER, integer(wire.getIpVersion()));
    live.set(LiveKey::SEQ, integer(wire.getSequence()));
    return live;
}

} // namespace brindle::wire
