// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/store/StoreWriter.h"

#include "tallyd/store/StoreFiles.h"

#include <algorithm>

#include <fmt/format.h>
#include <spdlog/spdlog.h>

namespace brindle::tallyd {

namespace {

/// Texts kept at hand; beyond that the dictionary table is asked.
constexpr std::size_t kMaxCachedTexts = 65536;

constexpr std::int64_t kPageBytes = 4096;
/// The main file grows by so much.
constexpr int kGrowBytes = 1 << 20;
/// A checkpoint after so many pages of log, which soon are moved.
constexpr std::int64_t kCheckpointPages = 1000;
/// A log of more pages than this has to begin anew; readers are waited for, but not long.
constexpr std::int64_t kMostLogPages = 2 * kCheckpointPages;
constexpr std::chrono::milliseconds kPatience{50};
constexpr std::chrono::milliseconds kReadersHeldBack{2000};
/// What the log keeps of the disk: room to delete in when there is no other left.
constexpr std::int64_t kLogBytes = 4 << 20;

void bindAddress(sqlite::Statement& statement, int parameter, const IpAddress& address) {
    if (address.isValid())
        statement.bindBytes(parameter, address.bytes());
    else
        statement.bindNull(parameter);
}

void setSynchronous(sqlite::Connection& connection, StoreUse use) {
    connection.execute(use == StoreUse::live ? "PRAGMA synchronous = FULL"
                                             : "PRAGMA synchronous = NORMAL");
}

/// Commits without waiting for the disk within a scope: for what could as well be done again.
class NoWait {
  public:
    NoWait(sqlite::Connection& connection, StoreUse use) : connection_(connection), use_(use) {
        setSynchronous(connection_, StoreUse::import);
    }
    ~NoWait() {
        // Only fails within a transaction, and those end before.
        setSynchronous(connection_, use_);
    }
    NoWait(const NoWait&) = delete;
    NoWait& operator=(const NoWait&) = delete;

  private:
    sqlite::Connection& connection_;
    const StoreUse use_;
};

} // namespace

StoreWriter::StoreWriter(const std::string& path, StoreUse use, std::shared_ptr<ReaderGate> gate)
    : path_(path), use_(use), gate_(std::move(gate)), connection_(path, sqlite::Access::readWrite),
      tallies_(connection_),
      insertRecord_(connection_, "INSERT INTO records (time, seq, flags, uid, srcport, dstport, "
                                 "src, dst, rule, interface, proto) "
                                 "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)"),
      insertText_(connection_, "INSERT OR IGNORE INTO texts (text) VALUES (?)"),
      findText_(connection_, "SELECT id FROM texts WHERE text = ?"),
      readMeta_(connection_, "SELECT last_sequence, row_count FROM meta"),
      writeMeta_(connection_, "UPDATE meta SET last_sequence = ?, row_count = ?"),
      writePosition_(connection_, "INSERT OR REPLACE INTO positions VALUES (?, ?)"),
      readPositions_(connection_, "SELECT source, position FROM positions"),
      purgeBorder_(connection_, "SELECT time, seq FROM records WHERE time < ? "
                                "ORDER BY time, seq LIMIT 1 OFFSET ?"),
      purge_(connection_, "DELETE FROM records WHERE (time, seq) <= (?, ?)"),
      pageCount_(connection_, "PRAGMA page_count"),
      emptyPages_(connection_, "PRAGMA freelist_count") {
    setSynchronous(connection_, use);
    connection_.execute(use == StoreUse::live ? "PRAGMA cache_size = -16384"
                                              : "PRAGMA cache_size = -65536");
    connection_.growBy(kGrowBytes);
    if (use == StoreUse::live) {
        connection_.checkpointByHand();
        connection_.execute(fmt::format("PRAGMA journal_size_limit = {}", kLogBytes));
        try {
            connection_.reserveLog(kLogBytes);
        } catch (const sqlite::Error& error) {
            spdlog::warn("store: {}", error.what());
        }
    } else {
        connection_.execute("PRAGMA wal_autocheckpoint = 16000");
        connection_.execute("PRAGMA journal_size_limit = 67108864");
    }
    // What is purged is gone from queries; overwriting it with zeros would double the work.
    connection_.execute("PRAGMA secure_delete = OFF");
}

tl::expected<std::unique_ptr<StoreWriter>, std::string>
StoreWriter::open(const std::string& path, StoreUse use, std::shared_ptr<ReaderGate> gate) {
    try {
        return std::unique_ptr<StoreWriter>(new StoreWriter(path, use, std::move(gate)));
    } catch (const sqlite::Error& error) {
        return tl::unexpected(fmt::format("cannot write to store {}: {}", path, error.what()));
    }
}

template <typename Work>
auto StoreWriter::attempt(Work&& work) -> tl::expected<decltype(work()), std::string> {
    try {
        if constexpr (std::is_void_v<decltype(work())>) {
            work();
            return {};
        } else {
            return work();
        }
    } catch (const sqlite::Error& error) {
        // Ids that were given out in the failed transaction do not exist.
        textIds_.clear();
        return tl::unexpected(std::string(error.what()));
    }
}

/// What is in the write-ahead log has its place in the main file before it counts.
void StoreWriter::commit(sqlite::Transaction& transaction) {
    connection_.reserve(pageCount() * kPageBytes);
    transaction.commit();
}

std::int64_t StoreWriter::pageCount() {
    sqlite::StatementReset reset(pageCount_);
    return pageCount_.step() ? pageCount_.integer(0) : 0;
}

std::int64_t StoreWriter::emptyPages() {
    sqlite::StatementReset reset(emptyPages_);
    return emptyPages_.step() ? emptyPages_.integer(0) : 0;
}

std::int64_t StoreWriter::textId(std::string_view text) {
    if (const auto found = textIds_.find(text); found != textIds_.end())
        return found->second;
    insertText_.bindText(1, text);
    insertText_.run();
    findText_.bindText(1, text);
    sqlite::StatementReset reset(findText_);
    if (!findText_.step())
        throw sqlite::Error("a text could not be stored");
    const std::int64_t id = findText_.integer(0);
    if (textIds_.size() >= kMaxCachedTexts)
        textIds_.clear();
    textIds_.emplace(text, id);
    return id;
}

void StoreWriter::insert(std::int64_t sequence, const PacketRecord& record) {
    insertRecord_.bind(1, record.timeMicros);
    insertRecord_.bind(2, sequence);
    insertRecord_.bind(3, (record.action == Action::block ? 1 : 0) |
                              (record.direction == Direction::out ? 2 : 0));
    if (record.uid == kNoUid)
        insertRecord_.bindNull(4);
    else
        insertRecord_.bind(4, record.uid);
    insertRecord_.bind(5, record.srcport);
    insertRecord_.bind(6, record.dstport);
    bindAddress(insertRecord_, 7, record.src);
    bindAddress(insertRecord_, 8, record.dst);
    insertRecord_.bind(9, textId(record.rule));
    insertRecord_.bind(10, textId(record.interface));
    insertRecord_.bind(11, textId(record.proto));
    insertRecord_.run();
}

tl::expected<std::uint64_t, std::string>
StoreWriter::append(std::span<const std::vector<PacketRecord>> chunks,
                    const SourcePositions& positions) {
    return attempt([&]() -> std::uint64_t {
        sqlite::Transaction transaction(connection_, sqlite::Transaction::Kind::write);
        std::int64_t lastSequence = 0;
        std::int64_t rows = 0;
        {
            // Read each time: an import may run beside the daemon.
            sqlite::StatementReset reset(readMeta_);
            if (!readMeta_.step())
                throw sqlite::Error("the store's figures are missing");
            lastSequence = readMeta_.integer(0);
            rows = readMeta_.integer(1);
        }
        const auto first = static_cast<std::uint64_t>(lastSequence + 1);
        for (const auto& chunk : chunks) {
            for (const PacketRecord& record : chunk)
                insert(++lastSequence, record);
            rows += static_cast<std::int64_t>(chunk.size());
        }
        tallies_.add(chunks, lastSequence);
        for (const auto& [source, position] : positions) {
            writePosition_.bindText(1, source);
            writePosition_.bindText(2, position);
            writePosition_.run();
        }
        writeMeta_.bind(1, lastSequence);
        writeMeta_.bind(2, rows);
        writeMeta_.run();
        commit(transaction);
        return first;
    });
}

tl::expected<SourcePositions, std::string> StoreWriter::positions() {
    return attempt([&] {
        SourcePositions positions;
        sqlite::StatementReset reset(readPositions_);
        while (readPositions_.step())
            positions.emplace(readPositions_.text(0), readPositions_.text(1));
        return positions;
    });
}

tl::expected<std::uint64_t, std::string> StoreWriter::purgeBefore(std::int64_t beforeMicros,
                                                                  std::size_t limit) {
    return attempt([&]() -> std::uint64_t {
        if (limit == 0)
            return 0;
        const NoWait noWait(connection_, use_);
        sqlite::Transaction transaction(connection_, sqlite::Transaction::Kind::write);
        // The last record of this batch: the limit's one, or else the last before the time.
        std::int64_t time = beforeMicros;
        std::int64_t sequence = 0; // numbers start at 1
        {
            sqlite::StatementReset reset(purgeBorder_);
            purgeBorder_.bind(1, beforeMicros);
            purgeBorder_.bind(2, static_cast<std::int64_t>(limit - 1));
            if (purgeBorder_.step()) {
                time = purgeBorder_.integer(0);
                sequence = purgeBorder_.integer(1);
            }
        }
        tallies_.takeBack(time, sequence);
        purge_.bind(1, time);
        purge_.bind(2, sequence);
        purge_.run();
        const std::int64_t deleted = connection_.changes();
        connection_.execute(fmt::format("UPDATE meta SET row_count = row_count - {}", deleted));
        commit(transaction);
        return static_cast<std::uint64_t>(deleted);
    });
}

tl::expected<bool, std::string> StoreWriter::rollUpDay(std::int64_t nowMicros,
                                                       std::size_t mostEntries) {
    auto rolledUp = attempt([&] {
        const NoWait noWait(connection_, use_);
        sqlite::Transaction transaction(connection_, sqlite::Transaction::Kind::write);
        const bool more = tallies_.rollUpDay(nowMicros, mostEntries);
        if (more)
            commit(transaction);
        return more;
    });
    if (!rolledUp)
        tallies_.abandonRollUp();
    return rolledUp;
}

tl::expected<std::size_t, std::string> StoreWriter::shrink(std::size_t pages, std::size_t keep) {
    return attempt([&]() -> std::size_t {
        const NoWait noWait(connection_, use_);
        const auto before = static_cast<std::size_t>(emptyPages());
        if (before <= keep)
            return 0;
        connection_.execute(
            fmt::format("PRAGMA incremental_vacuum({})", std::min(pages, before - keep)));
        return before - static_cast<std::size_t>(emptyPages());
    });
}

tl::expected<StoreSpace, std::string> StoreWriter::space() {
    return attempt([&] {
        StoreSpace space;
        space.log = fileBytes(path_ + kLogSuffix);
        sqlite::Transaction transaction(connection_, sqlite::Transaction::Kind::read);
        space.main = static_cast<std::uint64_t>((pageCount() * kPageBytes + kGrowBytes - 1) /
                                                kGrowBytes * kGrowBytes);
        space.empty = static_cast<std::uint64_t>(emptyPages() * kPageBytes);
        return space;
    });
}

bool StoreWriter::checkpointDue() const {
    return connection_.log().pages - connection_.log().settled >= kCheckpointPages ||
           gate_->isClosed();
}

tl::expected<void, std::string> StoreWriter::checkpointStep() {
    return attempt([&] {
        if (connection_.log().pages < kMostLogPages) {
            connection_.checkpoint(sqlite::Checkpoint::passive, kPatience);
            gate_->open();
            return;
        }
        gate_->close(kReadersHeldBack);
        if (connection_.checkpoint(sqlite::Checkpoint::restart, kPatience))
            gate_->open();
    });
}

tl::expected<void, std::string> StoreWriter::checkpoint() {
    return attempt([&] {
        if (connection_.integer("PRAGMA wal_checkpoint(TRUNCATE)") == 0)
            return;
        // Another program is reading: the log stays, but it has to reach the disk.
        connection_.execute("PRAGMA synchronous = FULL");
        connection_.execute("UPDATE meta SET row_count = row_count");
    });
}

} // namespace brindle::tallyd
