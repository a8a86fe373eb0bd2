// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/store/Store.h"

#include "tallyd/store/Schema.h"
#include "tallyd/store/Sqlite.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <system_error>

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

namespace brindle::tallyd {

namespace {

using namespace std::string_view_literals;

constexpr std::size_t kHeaderBytes = 100;

std::uint32_t bigEndian(const std::uint8_t* bytes) {
    return std::uint32_t{bytes[0]} << 24 | std::uint32_t{bytes[1]} << 16 |
           std::uint32_t{bytes[2]} << 8 | bytes[3];
}

/// Why the file is refused; empty when it may be opened. Reads the header without the library,
/// which could write to the file (a left journal) before we know whose it is.
std::string refusal(const std::string& path) {
    const int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, 0640);
    if (fd < 0)
        return std::generic_category().message(errno);
    struct stat status {};
    std::array<std::uint8_t, kHeaderBytes> header{};
    const bool regular = ::fstat(fd, &status) == 0 && S_ISREG(status.st_mode);
    const ssize_t length = regular ? ::pread(fd, header.data(), header.size(), 0) : 0;
    ::close(fd);
    if (!regular)
        return "not a regular file";
    if (status.st_size == 0)
        return {};
    constexpr auto magic = "SQLite format 3\0"sv;
    if (length != static_cast<ssize_t>(kHeaderBytes) ||
        std::memcmp(header.data(), magic.data(), magic.size()) != 0)
        return "not a store: the file holds something else";
    if (bigEndian(header.data() + 68) != kStoreApplicationId)
        return "not a store: the database belongs to another program";
    if (bigEndian(header.data() + 60) > newestSchemaVersion())
        return fmt::format("the store was made by a newer program (schema version {}, this one "
                           "knows up to {})",
                           bigEndian(header.data() + 60), newestSchemaVersion());
    return {};
}

/// An empty file becomes a store. The header reaches the main file before the write-ahead log is
/// switched on, so that the check above always finds it there.
void create(sqlite::Connection& connection) {
    connection.execute("PRAGMA page_size = 4096");
    connection.execute("PRAGMA auto_vacuum = INCREMENTAL");
    migrate(connection);
}

} // namespace

tl::expected<Store, std::string> Store::open(const std::string& path) {
    if (const std::string reason = refusal(path); !reason.empty())
        return tl::unexpected(fmt::format("cannot open store {}: {}", path, reason));
    try {
        sqlite::Connection connection(path, sqlite::Access::readWrite);
        connection.keepLogOnClose();
        if (connection.integer("PRAGMA page_count") == 0)
            create(connection);
        // The log may hold a newer version than the main file does.
        const std::int64_t version = connection.integer("PRAGMA user_version");
        if (version > newestSchemaVersion())
            return tl::unexpected(
                fmt::format("cannot open store {}: the store was made by a newer program", path));
        if (version < newestSchemaVersion())
            migrate(connection);
        connection.execute("PRAGMA journal_mode = WAL");
    } catch (const sqlite::Error& error) {
        return tl::unexpected(fmt::format("cannot open store {}: {}", path, error.what()));
    }
    // A damaged store is found here, not at the first record.
    Store store(path);
    const auto reader = store.reader();
    if (!reader)
        return tl::unexpected(reader.error());
    if (const auto figures = (*reader)->figures(); !figures)
        return tl::unexpected(fmt::format("cannot open store {}: {}", path, figures.error()));
    return store;
}

tl::expected<std::unique_ptr<StoreWriter>, std::string> Store::writer(StoreUse use) const {
    return StoreWriter::open(path_, use, gate_);
}

tl::expected<std::unique_ptr<StoreReader>, std::string> Store::reader() const {
    return StoreReader::open(path_, gate_);
}

} // namespace brindle::tallyd
