// SPDX-License-Identifier: BSD-2-Clause
//
// SQLite in our own terms: a connection, a statement and a transaction that clean up after
// themselves. Used by the store's own files alone; every object stays on one thread at a time.
// A failure is thrown as sqlite::Error and turned into a one-line result where the store's public
// functions end.
//
//     sqlite::Statement newest(connection, "SELECT max(time) FROM records WHERE time < ?");
//     newest.bind(1, limit);
//     if (newest.step()) use(newest.integer(0));
#pragma once

#include <chrono>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

namespace brindle::tallyd::sqlite {

/// One line: what failed and the library's reason.
class Error : public std::runtime_error {
  public:
    explicit Error(const std::string& line) : std::runtime_error(line) {}
};

enum class Access { read, readWrite };

enum class Checkpoint {
    passive, ///< moves what no reader still needs where it is
    restart, ///< also waits for readers, so that the log begins anew
};

struct LogState {
    std::int64_t pages = 0;   ///< in the write-ahead log
    std::int64_t settled = 0; ///< those that were there when the last checkpoint ended
};

class Connection {
  public:
    /// Opens `path`; with readWrite a missing file is made. Waits up to ten seconds for a lock that
    /// another program holds.
    Connection(const std::string& path, Access access);
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    /// Runs statements that return nothing of interest.
    void execute(const char* sql);
    void execute(const std::string& sql) { execute(sql.c_str()); }
    /// The first column of the first row; 0 when there is none.
    std::int64_t integer(const char* sql);
    /// Rows that the last statement deleted or inserted.
    std::int64_t changes() const;
    bool inTransaction() const;
    /// Leaves the write-ahead log to the next program when this is the last connection to close:
    /// a file that turns out not to be ours stays untouched.
    void keepLogOnClose();

    /// From now on the log is moved into the main file by `checkpoint` alone.
    void checkpointByHand();
    /// The log after the last commit of this connection, and after its last checkpoint before that;
    /// known since checkpointByHand.
    const LogState& log() const { return log_; }
    /// Gives up after `patience` where it has to wait, having done what was possible: false.
    bool checkpoint(Checkpoint kind, std::chrono::milliseconds patience);

    /// The main file grows by multiples of so many bytes.
    void growBy(int bytes);
    /// Takes the room of a main file of so many bytes from the file system. Throws when there is
    /// not enough.
    void reserve(std::int64_t bytes);
    /// The same for the write-ahead log, which begins small otherwise.
    void reserveLog(std::int64_t bytes);

    sqlite3* handle() const { return handle_; }

  private:
    sqlite3* handle_ = nullptr;
    LogState log_;
};

class Statement {
  public:
    Statement(Connection& connection, std::string_view sql);
    ~Statement();
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    /// Parameters count from 1. Bytes and texts stay the caller's and must outlive the step.
    void bind(int parameter, std::int64_t value);
    void bindBytes(int parameter, std::span<const std::uint8_t> bytes);
    void bindText(int parameter, std::string_view text);
    void bindNull(int parameter);

    /// True while there is a row; false at the end.
    bool step();
    /// Steps a statement that returns no row, and makes it ready for the next use.
    void run();
    void reset();

    /// Columns count from 0; bytes and texts live until the next step.
    std::int64_t integer(int column) const;
    bool isNull(int column) const;
    std::span<const std::uint8_t> bytes(int column) const;
    std::string_view text(int column) const;

  private:
    sqlite3_stmt* handle_ = nullptr;
    sqlite3* connection_ = nullptr;
};

/// Makes a statement ready again at the end of a scope, however that is left: a statement that
/// stays in the middle of its rows would hold its read transaction open.
class StatementReset {
  public:
    explicit StatementReset(Statement& statement) : statement_(statement) {}
    ~StatementReset() { statement_.reset(); }
    StatementReset(const StatementReset&) = delete;
    StatementReset& operator=(const StatementReset&) = delete;

  private:
    Statement& statement_;
};

/// Rolled back unless committed.
class Transaction {
  public:
    enum class Kind { read, write };
    Transaction(Connection& connection, Kind kind);
    ~Transaction();
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;
    void commit();

  private:
    Connection& connection_;
    bool open_ = true;
};

} // namespace brindle::tallyd::sqlite
