// SPDX-License-Identifier: BSD-2-Clause
//
// What the store's tables look like and how older ones become today's. A version is never changed
// once released: a new one is added at the end of the list of migrations.
#pragma once

#include "tallyd/store/Sqlite.h"

#include <cstdint>

namespace brindle::tallyd {

/// Marks an SQLite file as a store of ours ("Brdl").
inline constexpr std::int64_t kStoreApplicationId = 0x4272646c;

/// The newest schema version that this program reads and writes.
std::int64_t newestSchemaVersion();

/// Brings the tables from `version` (0: an empty file) to the newest version, all in one
/// transaction. Throws sqlite::Error.
void migrate(sqlite::Connection& connection);

} // namespace brindle::tallyd
