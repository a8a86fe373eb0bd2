// SPDX-License-Identifier: BSD-2-Clause
//
// One immutable value that one thread replaces and any thread reads, without a lock and without
// either side waiting: a replaced value is kept until a later replacement finds no reader inside.
//
//     SnapshotCell<Table> cell(std::make_unique<const Table>());
//     bool found = cell.read([&](const Table& table) { return table.contains(key); });
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

namespace brindle {

template <typename Value>
class SnapshotCell {
  public:
    explicit SnapshotCell(std::unique_ptr<const Value> value) : current_(value.release()) {}
    /// No reader may be inside any more.
    ~SnapshotCell() { delete current_.load(); }
    SnapshotCell(const SnapshotCell&) = delete;
    SnapshotCell& operator=(const SnapshotCell&) = delete;

    /// What `reader` makes of the value. Any thread; keep it short, and keep no reference.
    template <typename Reader>
    auto read(Reader&& reader) const {
        const Inside inside(readers_);
        return std::forward<Reader>(reader)(*current_.load());
    }

    /// One thread only.
    void replace(std::unique_ptr<const Value> value) {
        retired_.emplace_back(current_.exchange(value.release()));
        // Sequentially consistent throughout: who entered before this count was taken has left, who
        // enters after it finds the new value.
        if (readers_.load() == 0)
            retired_.clear();
    }

  private:
    struct Inside {
        explicit Inside(std::atomic<std::int64_t>& readers) : count(readers) { ++count; }
        ~Inside() { --count; }
        Inside(const Inside&) = delete;
        Inside& operator=(const Inside&) = delete;
        std::atomic<std::int64_t>& count;
    };

    std::atomic<const Value*> current_;
    mutable std::atomic<std::int64_t> readers_{0};
    std::vector<std::unique_ptr<const Value>> retired_;
};

} // namespace brindle
