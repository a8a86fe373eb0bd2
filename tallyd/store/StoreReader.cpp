// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/store/StoreReader.h"

#include "tallyd/store/ReaderPool.h"
#include "tallyd/store/StoreFiles.h"

#include <algorithm>
#include <limits>

namespace brindle::tallyd {

namespace {

/// The first page is small, for the first rows to be seen early; then they grow.
constexpr std::size_t kFirstPage = 256;
constexpr std::size_t kLargestPage = 4096;
static_assert(kLargestPage <= RecordBatch::kMaxRows);

class PagingCursor final : public RecordCursor {
  public:
    PagingCursor(std::shared_ptr<ReaderPool> pool, std::int64_t fromMicros, std::int64_t toMicros,
                 std::int64_t lastSequence)
        : pool_(std::move(pool)),
          fromMicros_(fromMicros), position_{toMicros, std::numeric_limits<std::int64_t>::max()},
          lastSequence_(lastSequence) {}

    tl::expected<std::shared_ptr<const RecordBatch>, std::string> next() override {
        // A page may hold nothing but records that came after the query.
        while (!ended_) {
            const std::size_t limit = pageSize_;
            pageSize_ = std::min(pageSize_ * 4, kLargestPage);
            RecordBatchBuilder builder;
            const auto passed = pool_->use([&](ReaderConnection& connection) {
                return connection.readPage(position_, fromMicros_, lastSequence_, limit, builder);
            });
            ended_ = !passed || *passed < limit;
            if (!passed)
                return tl::unexpected(passed.error());
            if (builder.size() > 0)
                return builder.finish();
        }
        return nullptr;
    }

  private:
    std::shared_ptr<ReaderPool> pool_;
    const std::int64_t fromMicros_;
    RecordPosition position_;
    const std::int64_t lastSequence_;
    std::size_t pageSize_ = kFirstPage;
    bool ended_ = false;
};

} // namespace

StoreReader::StoreReader(std::string path, std::shared_ptr<ReaderPool> pool)
    : path_(std::move(path)), pool_(std::move(pool)) {}

StoreReader::~StoreReader() = default;

tl::expected<std::unique_ptr<StoreReader>, std::string>
StoreReader::open(const std::string& path, std::shared_ptr<ReaderGate> gate) {
    auto pool = std::make_shared<ReaderPool>(path, std::move(gate));
    const auto sequence =
        pool->use([](ReaderConnection& connection) { return connection.lastSequence(); });
    if (!sequence)
        return tl::unexpected(fmt::format("{}: {}", path, sequence.error()));
    return std::unique_ptr<StoreReader>(new StoreReader(path, std::move(pool)));
}

tl::expected<std::unique_ptr<RecordCursor>, std::string>
StoreReader::openCursor(std::int64_t fromMicros, std::int64_t toMicros) {
    const auto sequence =
        pool_->use([](ReaderConnection& connection) { return connection.lastSequence(); });
    if (!sequence)
        return tl::unexpected(sequence.error());
    return std::make_unique<PagingCursor>(pool_, fromMicros, toMicros, *sequence);
}

tl::expected<CountReply, std::string> StoreReader::count(std::int64_t fromMicros,
                                                         const TallyQuestion& question) {
    return pool_->use(
        [&](ReaderConnection& connection) { return connection.count(fromMicros, question); });
}

tl::expected<StoreFigures, std::string> StoreReader::figures() {
    auto figures = pool_->use([](ReaderConnection& connection) { return connection.figures(); });
    if (figures)
        figures->bytes =
            fileBytes(path_) + fileBytes(path_ + kLogSuffix) + fileBytes(path_ + kLogIndexSuffix);
    return figures;
}

} // namespace brindle::tallyd
