// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/store/Sqlite.h"

#include <algorithm>

#include <fmt/format.h>
#include <sqlite3.h>

namespace brindle::tallyd::sqlite {

namespace {

constexpr int kLockWaitMilliseconds = 10000;

[[noreturn]] void fail(sqlite3* handle) {
    std::string line = handle ? sqlite3_errmsg(handle) : "out of memory";
    // A message may quote a statement of several lines.
    std::replace(line.begin(), line.end(), '\n', ' ');
    throw Error(line);
}

} // namespace

Connection::Connection(const std::string& path, Access access) {
    const int flags =
        access == Access::read ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
    // Each connection is used by one thread at a time: its own locks would only cost.
    if (sqlite3_open_v2(path.c_str(), &handle_, flags | SQLITE_OPEN_NOMUTEX, nullptr) !=
        SQLITE_OK) {
        const std::string line = handle_ ? sqlite3_errmsg(handle_) : "out of memory";
        sqlite3_close(handle_);
        throw Error(line);
    }
    sqlite3_busy_timeout(handle_, kLockWaitMilliseconds);
}

Connection::~Connection() {
    sqlite3_close(handle_);
}

void Connection::execute(const char* sql) {
    if (sqlite3_exec(handle_, sql, nullptr, nullptr, nullptr) != SQLITE_OK)
        fail(handle_);
}

std::int64_t Connection::integer(const char* sql) {
    Statement statement(*this, sql);
    return statement.step() ? statement.integer(0) : 0;
}

std::int64_t Connection::changes() const {
    return sqlite3_changes64(handle_);
}

bool Connection::inTransaction() const {
    return sqlite3_get_autocommit(handle_) == 0;
}

void Connection::keepLogOnClose() {
    sqlite3_db_config(handle_, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
}

void Connection::checkpointByHand() {
    // Takes the place of the hook that would do it within a commit.
    sqlite3_wal_hook(
        handle_,
        [](void* known, sqlite3*, const char*, int pages) {
            auto& log = *static_cast<LogState*>(known);
            if (pages < log.pages) // it began anew
                log.settled = 0;
            log.pages = pages;
            return SQLITE_OK;
        },
        &log_);
}

bool Connection::checkpoint(Checkpoint kind, std::chrono::milliseconds patience) {
    const int mode =
        kind == Checkpoint::restart ? SQLITE_CHECKPOINT_RESTART : SQLITE_CHECKPOINT_PASSIVE;
    sqlite3_busy_timeout(handle_, static_cast<int>(patience.count()));
    const int result = sqlite3_wal_checkpoint_v2(handle_, nullptr, mode, nullptr, nullptr);
    sqlite3_busy_timeout(handle_, kLockWaitMilliseconds);
    if (result != SQLITE_OK && result != SQLITE_BUSY)
        fail(handle_);
    log_.settled = log_.pages;
    return result == SQLITE_OK;
}

void Connection::growBy(int bytes) {
    sqlite3_file_control(handle_, "main", SQLITE_FCNTL_CHUNK_SIZE, &bytes);
}

void Connection::reserve(std::int64_t bytes) {
    if (sqlite3_file_control(handle_, "main", SQLITE_FCNTL_SIZE_HINT, &bytes) != SQLITE_OK)
        throw Error("there is no room for the store to grow");
}

void Connection::reserveLog(std::int64_t bytes) {
    sqlite3_file* log = nullptr;
    if (sqlite3_file_control(handle_, "main", SQLITE_FCNTL_JOURNAL_POINTER, &log) != SQLITE_OK ||
        !log || !log->pMethods)
        return;
    int chunk = static_cast<int>(bytes);
    log->pMethods->xFileControl(log, SQLITE_FCNTL_CHUNK_SIZE, &chunk);
    if (log->pMethods->xFileControl(log, SQLITE_FCNTL_SIZE_HINT, &bytes) != SQLITE_OK)
        throw Error("there is no room for the write-ahead log");
}

Statement::Statement(Connection& connection, std::string_view sql)
    : connection_(connection.handle()) {
    if (sqlite3_prepare_v3(connection_, sql.data(), static_cast<int>(sql.size()),
                           SQLITE_PREPARE_PERSISTENT, &handle_, nullptr) != SQLITE_OK)
        fail(connection_);
}

Statement::~Statement() {
    sqlite3_finalize(handle_);
}

void Statement::bind(int parameter, std::int64_t value) {
    if (sqlite3_bind_int64(handle_, parameter, value) != SQLITE_OK)
        fail(connection_);
}

void Statement::bindBytes(int parameter, std::span<const std::uint8_t> bytes) {
    if (sqlite3_bind_blob(handle_, parameter, bytes.data(), static_cast<int>(bytes.size()),
                          SQLITE_STATIC) != SQLITE_OK)
        fail(connection_);
}

void Statement::bindText(int parameter, std::string_view text) {
    // An empty view may have no address, which would be bound as null.
    const char* data = text.empty() ? "" : text.data();
    if (sqlite3_bind_text64(handle_, parameter, data, text.size(), SQLITE_STATIC, SQLITE_UTF8) !=
        SQLITE_OK)
        fail(connection_);
}

void Statement::bindNull(int parameter) {
    if (sqlite3_bind_null(handle_, parameter) != SQLITE_OK)
        fail(connection_);
}

bool Statement::step() {
    switch (sqlite3_step(handle_)) {
    case SQLITE_ROW:
        return true;
    case SQLITE_DONE:
        return false;
    default:
        fail(connection_);
    }
}

void Statement::run() {
    StatementReset reset(*this);
    while (step()) {
    }
}

void Statement::reset() {
    sqlite3_reset(handle_);
}

std::int64_t Statement::integer(int column) const {
    return sqlite3_column_int64(handle_, column);
}

bool Statement::isNull(int column) const {
    return sqlite3_column_type(handle_, column) == SQLITE_NULL;
}

std::span<const std::uint8_t> Statement::bytes(int column) const {
    const auto* data = static_cast<const std::uint8_t*>(sqlite3_column_blob(handle_, column));
    return {data, data ? static_cast<std::size_t>(sqlite3_column_bytes(handle_, column)) : 0};
}

std::string_view Statement::text(int column) const {
    const auto* data = reinterpret_cast<const char*>(sqlite3_column_text(handle_, column));
    if (!data)
        return {};
    return {data, static_cast<std::size_t>(sqlite3_column_bytes(handle_, column))};
}

Transaction::Transaction(Connection& connection, Kind kind) : connection_(connection) {
    connection_.execute(kind == Kind::write ? "BEGIN IMMEDIATE" : "BEGIN");
}

Transaction::~Transaction() {
    // SQLite rolls some failures back by itself; asking again would be an error of its own.
    if (open_ && connection_.inTransaction())
        sqlite3_exec(connection_.handle(), "ROLLBACK", nullptr, nullptr, nullptr);
}

void Transaction::commit() {
    connection_.execute("COMMIT");
    open_ = false;
}

} // namespace brindle::tallyd::sqlite
