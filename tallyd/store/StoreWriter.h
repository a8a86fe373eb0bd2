// SPDX-License-Identifier: BSD-2-Clause
//
// The one connection that writes to the store: appends batches of records, remembers where sources
// stopped reading, deletes old records. Owned by the intake and used by its writer thread alone.
// Each call is one transaction: it happens as a whole or not at all.
//
// A batch is only committed when the main file has room for all of it: on a full disk the
// write-ahead log can still be moved there, after which old records can be deleted and their pages
// used again.
//
// What is deleted may be there again after a power failure until the next batch or checkpoint.
// A committed batch survives the end of the process, however it ends. With StoreUse::live it also
// survives a power failure; with StoreUse::import that holds once `checkpoint` has returned.
#pragma once

#include "core/log/records/PacketRecord.h"
#include "tallyd/store/ReaderGate.h"
#include "tallyd/store/Sqlite.h"
#include "tallyd/store/TallyWriter.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include <tl/expected.hpp>

namespace brindle::tallyd {

enum class StoreUse {
    live,   ///< each commit reaches the disk
    import, ///< few large transactions, the disk waits for the checkpoint at the end
};

/// What the store takes of the disk, in bytes.
struct StoreSpace {
    std::uint64_t main = 0;  ///< the main file, once the write-ahead log was moved there
    std::uint64_t empty = 0; ///< pages of it that hold nothing
    std::uint64_t log = 0;   ///< the write-ahead log
};

/// Where a source stopped reading, in the source's own words; by source name.
using SourcePositions = std::map<std::string, std::string>;

class StoreWriter {
  public:
    static tl::expected<std::unique_ptr<StoreWriter>, std::string>
    open(const std::string& path, StoreUse use, std::shared_ptr<ReaderGate> gate);

    /// Stores the records of all chunks, in order, with the positions that go with them. The
    /// sequence number of the first record; the others follow without gaps.
    tl::expected<std::uint64_t, std::string>
    append(std::span<const std::vector<PacketRecord>> chunks,
           const SourcePositions& positions = {});

    /// Of every source that ever stored one.
    tl::expected<SourcePositions, std::string> positions();

    /// Deletes up to `limit` of the oldest records with time < beforeMicros. How many: fewer than
    /// `limit` when none is left. Their sequence numbers are not used again.
    tl::expected<std::uint64_t, std::string> purgeBefore(std::int64_t beforeMicros,
                                                         std::size_t limit);

    /// Takes one step, of about so many entries, in rolling up the counts of days that were over by
    /// `nowMicros`, so that requests read them at once. True when there may be more to do at once;
    /// another writer of the store is let go first.
    tl::expected<bool, std::string> rollUpDay(std::int64_t nowMicros, std::size_t mostEntries);

    /// Gives up to `pages` empty pages back to the file system, of those beyond `keep`: how many.
    tl::expected<std::size_t, std::string> shrink(std::size_t pages, std::size_t keep);

    tl::expected<StoreSpace, std::string> space();

    /// With StoreUse::live the write-ahead log is moved into the main file by these two alone, as
    /// that takes its time. Due when enough was written since the last step.
    bool checkpointDue() const;
    /// When the log got long because of readers, they are held back until it could begin anew; the
    /// writer itself waits for them only a moment in each step.
    tl::expected<void, std::string> checkpointStep();

    /// Waits until everything is on the disk, and moves the write-ahead log into the main file
    /// unless another program keeps reading it.
    tl::expected<void, std::string> checkpoint();

  private:
    StoreWriter(const std::string& path, StoreUse use, std::shared_ptr<ReaderGate> gate);

    void commit(sqlite::Transaction& transaction);
    std::int64_t pageCount();
    std::int64_t emptyPages();
    std::int64_t textId(std::string_view text);
    void insert(std::int64_t sequence, const PacketRecord& record);
    template <typename Work>
    auto attempt(Work&& work) -> tl::expected<decltype(work()), std::string>;

    struct TextHash {
        using is_transparent = void;
        std::size_t operator()(std::string_view text) const {
            return std::hash<std::string_view>{}(text);
        }
    };

    const std::string path_;
    const StoreUse use_;
    const std::shared_ptr<ReaderGate> gate_;
    sqlite::Connection connection_;
    TallyWriter tallies_;
    sqlite::Statement insertRecord_;
    sqlite::Statement insertText_;
    sqlite::Statement findText_;
    sqlite::Statement readMeta_;
    sqlite::Statement writeMeta_;
    sqlite::Statement writePosition_;
    sqlite::Statement readPositions_;
    sqlite::Statement purgeBorder_;
    sqlite::Statement purge_;
    sqlite::Statement pageCount_;
    sqlite::Statement emptyPages_;
    std::unordered_map<std::string, std::int64_t, TextHash, std::equal_to<>> textIds_;
};

} // namespace brindle::tallyd
