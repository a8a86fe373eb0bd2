// SPDX-License-Identifier: BSD-2-Clause
//
// How stored records are read. Implemented by the store, used by the server; every function may be
// called from several threads at once, each call uses a reader connection of its own. Errors are
// one line.
#pragma once

#include "core/log/records/RecordBatch.h"
#include "protocol/TallydServer.h"
#include "tallyd/records/TallyQuestion.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include <tl/expected.hpp>

namespace brindle::tallyd {

/// What the store holds, read in one transaction.
struct StoreFigures {
    std::uint64_t rows = 0;
    std::uint64_t bytes = 0;            ///< of the store's files
    std::optional<std::int64_t> oldest; ///< microseconds since 1970; nothing when empty
    std::optional<std::int64_t> newest;
    std::uint64_t lastSequence = 0; ///< of the last record ever stored; 0 before the first
};

class RecordReader {
  public:
    virtual ~RecordReader() = default;

    /// Records with from <= time <= to (microseconds), newest first, ties in reverse order of
    /// storing. Pages by key in short read transactions.
    virtual tl::expected<std::unique_ptr<RecordCursor>, std::string>
    openCursor(std::int64_t fromMicros, std::int64_t toMicros) = 0;
    /// How many records with time >= fromMicros there are, as `question` asks; with the sequence
    /// number of the last record that could be counted.
    virtual tl::expected<CountReply, std::string> count(std::int64_t fromMicros,
                                                        const TallyQuestion& question) = 0;
    virtual tl::expected<StoreFigures, std::string> figures() = 0;
};

} // namespace brindle::tallyd
