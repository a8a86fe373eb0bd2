// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/store/Schema.h"

#include "tallyd/store/TallySchema.h"
#include "tallyd/store/TallyWriter.h"

#include <array>

#include <fmt/format.h>

namespace brindle::tallyd {

namespace {

// The records lie in the order of their key: period scans, paging and purging by age all run along
// it, and a record is written once, without an index beside the table. `flags` is 1 for block and 2
// for outbound; a null uid stands for "no socket", a null address for "none".
constexpr const char* kVersion1 = R"sql(
CREATE TABLE texts (
    id   INTEGER PRIMARY KEY,
    text TEXT NOT NULL UNIQUE
);
CREATE TABLE records (
    time      INTEGER NOT NULL,
    seq       INTEGER NOT NULL,
    flags     INTEGER NOT NULL,
    uid       INTEGER,
    srcport   INTEGER NOT NULL,
    dstport   INTEGER NOT NULL,
    src       BLOB,
    dst       BLOB,
    rule      INTEGER NOT NULL REFERENCES texts (id),
    interface INTEGER NOT NULL REFERENCES texts (id),
    proto     INTEGER NOT NULL REFERENCES texts (id),
    PRIMARY KEY (time, seq)
) WITHOUT ROWID;
CREATE TABLE meta (
    id            INTEGER PRIMARY KEY CHECK (id = 1),
    last_sequence INTEGER NOT NULL,
    row_count     INTEGER NOT NULL
);
INSERT INTO meta VALUES (1, 0, 0);
CREATE TABLE positions (
    source   TEXT PRIMARY KEY,
    position TEXT NOT NULL
) WITHOUT ROWID;
)sql";

// Version 2 counts the records as they come; those of before are counted once.
void toVersion2(sqlite::Connection& connection) {
    connection.execute(kTallyTables);
    TallyWriter(connection).countAll();
}

constexpr std::array<void (*)(sqlite::Connection&), 2> kMigrations{
    [](sqlite::Connection& connection) { connection.execute(kVersion1); },
    toVersion2,
};

} // namespace

std::int64_t newestSchemaVersion() {
    return static_cast<std::int64_t>(kMigrations.size());
}

void migrate(sqlite::Connection& connection) {
    sqlite::Transaction transaction(connection, sqlite::Transaction::Kind::write);
    // Read inside the transaction: another program may have been quicker.
    const std::int64_t version = connection.integer("PRAGMA user_version");
    if (version == newestSchemaVersion())
        return;
    for (auto step = static_cast<std::size_t>(version); step < kMigrations.size(); ++step)
        kMigrations[step](connection);
    connection.execute(fmt::format("PRAGMA application_id = {}", kStoreApplicationId));
    connection.execute(fmt::format("PRAGMA user_version = {}", newestSchemaVersion()));
    transaction.commit();
}

} // namespace brindle::tallyd
