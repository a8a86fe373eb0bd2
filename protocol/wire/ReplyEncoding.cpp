// SPDX-License-Identifier: BSD-2-Clause
#include "protocol/wire/ReplyEncoding.h"

#include "protocol/wire/TextTable.h"

#include <algorithm>
#include <map>
#include <string>
#include <utility>

namespace brindle::wire {

namespace {

constexpr std::uint8_t kIsIp = 1;
constexpr std::uint8_t kIsPort = 2;

constexpr kj::uint kMostListed = 10'000;

using Figures = std::map<std::string, std::uint64_t>;

void encodeFigures(const Figures& figures, capnp::List<Figure>::Builder wire) {
    kj::uint index = 0;
    for (const auto& [name, count] : figures) {
        wire[index].setName(wireText(name));
        wire[index].setCount(count);
        ++index;
    }
}

Figures decodeFigures(capnp::List<Figure>::Reader wire) {
    Figures figures;
    for (const auto figure : wire)
        figures[textOf(figure.getName())] = figure.getCount();
    return figures;
}

} // namespace

std::unique_ptr<capnp::MallocMessageBuilder> encodeCounts(std::span<const CountEntry> entries) {
    std::string characters;
    std::vector<std::uint32_t> ends;
    ends.reserve(entries.size());
    for (const CountEntry& entry : entries) {
        characters += entry.label;
        ends.push_back(static_cast<std::uint32_t>(characters.size()));
    }
    constexpr std::size_t kBytesAnEntry = 4 + 8 + 1;
    constexpr std::size_t kPointersAndPadding = 32;
    const std::size_t bytes = characters.size() + entries.size() * kBytesAnEntry;
    auto message = std::make_unique<capnp::MallocMessageBuilder>(
        static_cast<kj::uint>(bytes / sizeof(capnp::word) + kPointersAndPadding));
    auto wire = message->initRoot<CountBatch>();
    encodeTexts(characters, ends, wire.initLabels());
    auto values = wire.initValues(static_cast<kj::uint>(entries.size()));
    auto kinds = wire.initKinds(static_cast<kj::uint>(entries.size()));
    for (kj::uint i = 0; i < entries.size(); ++i) {
        values.set(i, entries[i].value);
        kinds.set(i, static_cast<std::uint8_t>((entries[i].isIP ? kIsIp : 0) |
                                               (entries[i].isPort ? kIsPort : 0)));
    }
    return message;
}

bool decodeCounts(CountBatch::Reader wire, std::vector<CountEntry>& entries) {
    const std::string characters = decodeCharacters(wire.getLabels());
    const auto ends = copyColumn<std::uint32_t>(wire.getLabels().getEnds());
    const auto values = wire.getValues();
    const auto kinds = wire.getKinds();
    if (values.size() != ends.size() || kinds.size() != ends.size() ||
        !std::is_sorted(ends.begin(), ends.end()) ||
        (!ends.empty() && ends.back() > characters.size()))
        return false;
    entries.reserve(entries.size() + ends.size());
    std::uint32_t begin = 0;
    for (kj::uint i = 0; i < ends.size(); ++i) {
        entries.push_back({.label = characters.substr(begin, ends[i] - begin),
                           .value = values[i],
                           .isIP = (kinds[i] & kIsIp) != 0,
                           .isPort = (kinds[i] & kIsPort) != 0});
        begin = ends[i];
    }
    return true;
}

void encodeEpoch(const std::optional<double>& epoch, MaybeEpoch::Builder wire) {
    if (epoch)
        wire.setEpoch(*epoch);
    else
        wire.setNothing();
}

std::optional<double> decodeEpoch(MaybeEpoch::Reader wire) {
    return wire.isEpoch() ? std::optional(wire.getEpoch()) : std::nullopt;
}

void encodeStatus(const brindle::DaemonStatus& status, DaemonStatus::Builder wire) {
    wire.setReceived(status.received);
    wire.setStored(status.stored);
    encodeFigures(status.lost, wire.initLost(static_cast<kj::uint>(status.lost.size())));
    wire.setRows(status.rows);
    wire.setStoreBytes(status.storeBytes);
    encodeEpoch(status.oldest, wire.initOldest());
    encodeEpoch(status.newest, wire.initNewest());
    wire.setClients(status.clients);
    wire.setLiveClients(status.liveClients);
    wire.setLiveLost(status.liveLost);
    auto sources = wire.initSources(static_cast<kj::uint>(status.sources.size()));
    for (kj::uint i = 0; i < status.sources.size(); ++i) {
        const brindle::SourceStatus& source = status.sources[i];
        sources[i].setName(wireText(source.name));
        sources[i].setState(wireText(source.state));
        sources[i].setReceived(source.received);
        sources[i].setStored(source.stored);
        encodeFigures(source.lost, sources[i].initLost(static_cast<kj::uint>(source.lost.size())));
    }
}

std::optional<brindle::DaemonStatus> decodeStatus(DaemonStatus::Reader wire) {
    const auto sources = wire.getSources();
    bool isTooLong = wire.getLost().size() > kMostListed || sources.size() > kMostListed;
    for (kj::uint i = 0; !isTooLong && i < sources.size(); ++i)
        isTooLong = sources[i].getLost().size() > kMostListed;
    if (isTooLong)
        return std::nullopt;
    brindle::DaemonStatus status;
    status.received = wire.getReceived();
    status.stored = wire.getStored();
    status.lost = decodeFigures(wire.getLost());
    status.rows = wire.getRows();
    status.storeBytes = wire.getStoreBytes();
    status.oldest = decodeEpoch(wire.getOldest());
    status.newest = decodeEpoch(wire.getNewest());
    status.clients = wire.getClients();
    status.liveClients = wire.getLiveClients();
    status.liveLost = wire.getLiveLost();
    for (const auto source : sources)
        status.sources.push_back({.name = textOf(source.getName()),
                                  .state = textOf(source.getState()),
                                  .received = source.getReceived(),
                                  .stored = source.getStored(),
                                  .lost = decodeFigures(source.getLost())});
    return status;
}

} // namespace brindle::wire
