// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/store/ReaderConnection.h"

#include "core/log/records/PacketRecord.h"
#include "core/log/records/RecordText.h"

namespace brindle::tallyd {

namespace {

constexpr std::size_t kAddressSlots = 16384; // powers of two
constexpr std::size_t kTextSlots = 1024;
constexpr std::size_t kMaxCachedTexts = 65536;

} // namespace

ReaderConnection::ReaderConnection(const std::string& path)
    : connection_(path, sqlite::Access::read), tallies_(connection_),
      page_(connection_, "SELECT time, seq, flags, uid, srcport, dstport, src, dst, rule, "
                         "interface, proto FROM records "
                         "WHERE (time, seq) < (?1, ?2) AND time >= ?3 "
                         "ORDER BY time DESC, seq DESC LIMIT ?4"),
      findText_(connection_, "SELECT text FROM texts WHERE id = ?"),
      readMeta_(connection_, "SELECT last_sequence, row_count FROM meta"),
      readEnds_(connection_, "SELECT (SELECT time FROM records ORDER BY time, seq LIMIT 1), "
                             "(SELECT time FROM records ORDER BY time DESC, seq DESC LIMIT 1)"),
      addressSlots_(kAddressSlots), textSlots_(kTextSlots) {}

std::int64_t ReaderConnection::lastSequence() {
    sqlite::StatementReset reset(readMeta_);
    if (!readMeta_.step())
        throw sqlite::Error("the store's figures are missing");
    return readMeta_.integer(0);
}

StoreFigures ReaderConnection::figures() {
    sqlite::Transaction transaction(connection_, sqlite::Transaction::Kind::read);
    StoreFigures figures;
    {
        sqlite::StatementReset reset(readMeta_);
        if (!readMeta_.step())
            throw sqlite::Error("the store's figures are missing");
        figures.lastSequence = static_cast<std::uint64_t>(readMeta_.integer(0));
        figures.rows = static_cast<std::uint64_t>(readMeta_.integer(1));
    }
    sqlite::StatementReset reset(readEnds_);
    if (readEnds_.step() && !readEnds_.isNull(0)) {
        figures.oldest = readEnds_.integer(0);
        figures.newest = readEnds_.integer(1);
    }
    return figures;
}

CountReply ReaderConnection::count(std::int64_t fromMicros, const TallyQuestion& question) {
    sqlite::Transaction transaction(connection_, sqlite::Transaction::Kind::read);
    CountReply reply;
    reply.sequence = static_cast<std::uint64_t>(lastSequence());
    reply.entries = tallies_.count(fromMicros, question);
    return reply;
}

std::size_t ReaderConnection::readPage(RecordPosition& position, std::int64_t fromMicros,
                                       std::int64_t lastSequence, std::size_t limit,
                                       RecordBatchBuilder& builder) {
    ++pageNumber_;
    const TextIndex actions[] = {builder.intern(actionText(Action::pass)),
                                 builder.intern(actionText(Action::block))};
    const TextIndex directions[] = {builder.intern(directionText(Direction::in)),
                                    builder.intern(directionText(Direction::out))};
    sqlite::StatementReset reset(page_);
    page_.bind(1, position.timeMicros);
    page_.bind(2, position.sequence);
    page_.bind(3, fromMicros);
    page_.bind(4, static_cast<std::int64_t>(limit));
    std::size_t passed = 0;
    while (page_.step()) {
        ++passed;
        position = {page_.integer(0), page_.integer(1)};
        if (position.sequence > lastSequence)
            continue;
        RecordRow row;
        row.epoch = epochFromMicros(position.timeMicros);
        const std::int64_t flags = page_.integer(2);
        row.action = actions[flags & 1];
        row.direction = directions[flags >> 1 & 1];
        row.uid = page_.isNull(3) ? kNoUid : static_cast<std::uint32_t>(page_.integer(3));
        row.srcport = static_cast<std::uint16_t>(page_.integer(4));
        row.dstport = static_cast<std::uint16_t>(page_.integer(5));
        row.srcip = addressIndex(page_.bytes(6), builder);
        row.dstip = addressIndex(page_.bytes(7), builder);
        row.rule = textIndex(page_.integer(8), builder);
        row.interface = textIndex(page_.integer(9), builder);
        row.proto = textIndex(page_.integer(10), builder);
        builder.add(row);
    }
    return passed;
}

TextIndex ReaderConnection::addressIndex(std::span<const std::uint8_t> bytes,
                                         RecordBatchBuilder& builder) {
    const IpAddress address = IpAddress::fromBytes(bytes);
    auto& slot = addressSlots_[IpAddressHash{}(address) % kAddressSlots];
    if (slot.page != pageNumber_ || slot.key != address)
        slot = {address, pageNumber_, builder.intern(address.text())};
    return slot.index;
}

TextIndex ReaderConnection::textIndex(std::int64_t id, RecordBatchBuilder& builder) {
    auto& slot = textSlots_[static_cast<std::size_t>(id) % kTextSlots];
    if (slot.page != pageNumber_ || slot.key != id)
        slot = {id, pageNumber_, builder.intern(text(id))};
    return slot.index;
}

const std::string& ReaderConnection::text(std::int64_t id) {
    if (const auto found = texts_.find(id); found != texts_.end())
        return found->second;
    sqlite::StatementReset reset(findText_);
    findText_.bind(1, id);
    if (!findText_.step())
        throw sqlite::Error("the store is damaged: a record names a text that is not there");
    if (texts_.size() >= kMaxCachedTexts)
        texts_.clear();
    return texts_.emplace(id, std::string(findText_.text(0))).first->second;
}

} // namespace brindle::tallyd
