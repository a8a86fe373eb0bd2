// SPDX-License-Identifier: BSD-2-Clause
//
// Reads stored records for the server: any thread, any number of queries at once, beside the writer
// and without holding it up. A query borrows a connection for one page at a time, so that a query
// nobody reads on holds neither a connection nor a read transaction. It answers what was stored
// when it was opened, less what is purged meanwhile. Owned by tallyd's main.
#pragma once

#include "tallyd/records/RecordReader.h"

#include <memory>
#include <string>

#include <tl/expected.hpp>

namespace brindle::tallyd {

class ReaderGate;
class ReaderPool;

class StoreReader final : public RecordReader {
  public:
    /// `path`: a store that Store::open has accepted. Errors name the file.
    static tl::expected<std::unique_ptr<StoreReader>, std::string>
    open(const std::string& path, std::shared_ptr<ReaderGate> gate);
    ~StoreReader() override;

    tl::expected<std::unique_ptr<RecordCursor>, std::string>
    openCursor(std::int64_t fromMicros, std::int64_t toMicros) override;
    tl::expected<CountReply, std::string> count(std::int64_t fromMicros,
                                                const TallyQuestion& question) override;
    tl::expected<StoreFigures, std::string> figures() override;

  private:
    StoreReader(std::string path, std::shared_ptr<ReaderPool> pool);

    std::string path_;
    std::shared_ptr<ReaderPool> pool_; ///< shared with the open cursors
};

} // namespace brindle::tallyd
