// SPDX-License-Identifier: BSD-2-Clause
//
// What the tests of the store share: a folder of their own, records that differ in every field, and
// answers in a form that can be compared.
#pragma once

#include "tallyd/store/Store.h"

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>
#include <gtest/gtest.h>

namespace brindle::tallyd {

inline constexpr std::int64_t kEver = std::numeric_limits<std::int64_t>::max();

class TemporaryFolder {
  public:
    TemporaryFolder() {
        std::string pattern = (std::filesystem::temp_directory_path() / "storeXXXXXX").string();
        path_ = ::mkdtemp(pattern.data());
    }
    ~TemporaryFolder() { std::filesystem::remove_all(path_); }
    std::string file(std::string_view name) const { return (path_ / name).string(); }

  private:
    std::filesystem::path path_;
};

/// A record that can be told from others by its number: it is the uid.
inline PacketRecord numbered(std::uint32_t number, std::int64_t timeMicros) {
    PacketRecord record;
    record.timeMicros = timeMicros;
    record.uid = number;
    record.src = *IpAddress::parse("192.0.2." + std::to_string(number % 250));
    record.dst = *IpAddress::parse("2001:db8::" + std::to_string(number % 1000));
    record.rule = std::to_string(number % 7);
    record.interface = "em0";
    record.proto = "tcp";
    return record;
}

/// Everything of a record as a reader sees it.
inline std::string shown(double epoch, std::uint32_t uid, std::string_view action,
                         std::string_view direction, std::string_view src, std::uint16_t srcport,
                         std::string_view dst, std::uint16_t dstport, std::string_view rule,
                         std::string_view interface, std::string_view proto) {
    return fmt::format("{:.6f}|{}|{}|{}|{}|{}|{}|{}|{}|{}|{}", epoch, uid, action, direction, src,
                       srcport, dst, dstport, rule, interface, proto);
}

inline std::string shown(const PacketRecord& record) {
    return shown(static_cast<double>(record.timeMicros) / 1e6, record.uid,
                 actionText(record.action), directionText(record.direction), record.src.text(),
                 record.srcport, record.dst.text(), record.dstport, record.rule, record.interface,
                 record.proto);
}

inline std::string shown(const RecordBatch& batch, const RecordRow& row) {
    return shown(row.epoch, row.uid, batch.text(row.action), batch.text(row.direction),
                 batch.text(row.srcip), row.srcport, batch.text(row.dstip), row.dstport,
                 batch.text(row.rule), batch.text(row.interface), batch.text(row.proto));
}

class StoreTest : public testing::Test {
  protected:
    Store open() {
        auto store = Store::open(path);
        if (!store)
            throw std::runtime_error(store.error());
        return *store;
    }
    std::unique_ptr<StoreWriter> writer() { return std::move(*open().writer(StoreUse::import)); }

    /// The first sequence number.
    static std::uint64_t append(StoreWriter& writer, std::vector<PacketRecord> records) {
        const std::vector<std::vector<PacketRecord>> chunks{std::move(records)};
        const auto first = writer.append(chunks);
        EXPECT_TRUE(first.has_value()) << first.error();
        return first.value_or(0);
    }

    std::vector<std::string> query(std::int64_t from, std::int64_t to) {
        std::vector<std::string> rows;
        const auto reader = std::move(*open().reader());
        const auto cursor = std::move(*reader->openCursor(from, to));
        for (auto batch = *cursor->next(); batch; batch = *cursor->next())
            for (const RecordRow& row : batch->rows())
                rows.push_back(shown(*batch, row));
        return rows;
    }
    StoreFigures figures() { return *(*open().reader())->figures(); }

    /// The uids of what a query answers, which are the numbers of `numbered`.
    std::vector<std::uint32_t> numbers(std::int64_t from, std::int64_t to) {
        const auto reader = std::move(*open().reader());
        return rest(**reader->openCursor(from, to));
    }
    static std::vector<std::uint32_t> rest(RecordCursor& cursor) {
        std::vector<std::uint32_t> found;
        for (auto batch = *cursor.next(); batch; batch = *cursor.next())
            for (const RecordRow& row : batch->rows())
                found.push_back(row.uid);
        return found;
    }

    TemporaryFolder folder;
    std::string path = folder.file("store.db");
};

inline std::string contents(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

} // namespace brindle::tallyd
