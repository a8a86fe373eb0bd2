// SPDX-License-Identifier: BSD-2-Clause
//
// One connection that only reads, with its prepared statements and what it remembers between pages.
// Lent out by the StoreReader to one call at a time; throws sqlite::Error.
#pragma once

#include "core/log/records/RecordBatch.h"
#include "core/net/IpAddress.h"
#include "tallyd/records/RecordReader.h"
#include "tallyd/store/Sqlite.h"
#include "tallyd/store/TallyReader.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

namespace brindle::tallyd {

/// A place in the order of storage: the key of a record.
struct RecordPosition {
    std::int64_t timeMicros = 0;
    std::int64_t sequence = 0;
};

class ReaderConnection {
  public:
    explicit ReaderConnection(const std::string& path);

    /// Of the last record ever stored; 0 before the first.
    std::int64_t lastSequence();
    /// All but the size of the files.
    StoreFigures figures();

    /// From the tallies, all in one read transaction.
    CountReply count(std::int64_t fromMicros, const TallyQuestion& question);

    /// Up to `limit` records before `position` (which moves to the last of them) and not before
    /// `fromMicros`, newest first, leaving out those stored after `lastSequence`. How many records
    /// were passed; fewer than `limit` at the end.
    std::size_t readPage(RecordPosition& position, std::int64_t fromMicros,
                         std::int64_t lastSequence, std::size_t limit, RecordBatchBuilder& builder);

  private:
    /// Remembered indexes of the page being read. A slot whose page is not the current one is
    /// empty; a clash costs no more than looking the text up again.
    template <typename Key>
    struct Slot {
        Key key{};
        std::uint64_t page = 0;
        TextIndex index = 0;
    };

    TextIndex addressIndex(std::span<const std::uint8_t> bytes, RecordBatchBuilder& builder);
    TextIndex textIndex(std::int64_t id, RecordBatchBuilder& builder);
    const std::string& text(std::int64_t id);

    sqlite::Connection connection_;
    TallyReader tallies_;
    sqlite::Statement page_;
    sqlite::Statement findText_;
    sqlite::Statement readMeta_;
    sqlite::Statement readEnds_;
    std::unordered_map<std::int64_t, std::string> texts_;
    std::vector<Slot<IpAddress>> addressSlots_;
    std::vector<Slot<std::int64_t>> textSlots_;
    std::uint64_t pageNumber_ = 0;
};

} // namespace brindle::tallyd
