// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/program/Import.h"

#include "tests/tallyd/store/StoreFixture.h"

#include <gmock/gmock.h>

namespace brindle::tallyd {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// Hands out numbered records, then ends in the given way.
class FakeInput final : public InputFile {
  public:
    FakeInput(std::uint32_t first, std::uint32_t count,
              std::map<std::string, std::uint64_t> skipped, std::string problem)
        : next_(first), end_(first + count), skipped_(std::move(skipped)),
          problem_(std::move(problem)) {}

    bool read(std::vector<PacketRecord>& records, std::size_t limit) override {
        for (; limit > 0 && next_ < end_; --limit, ++next_)
            records.push_back(numbered(next_, next_));
        return next_ < end_;
    }
    const std::map<std::string, std::uint64_t>& skipped() const override { return skipped_; }
    const std::string& problem() const override { return problem_; }

  private:
    std::uint32_t next_;
    std::uint32_t end_;
    std::map<std::string, std::uint64_t> skipped_;
    std::string problem_;
};

class ImportTest : public StoreTest {
  protected:
    ImportReport import(const std::vector<std::string>& inputs) {
        return importInputs(
            writer(), inputs,
            [](const std::string& name) -> tl::expected<std::unique_ptr<InputFile>, std::string> {
                if (name == "long")
                    return std::make_unique<FakeInput>(
                        0, 10000, std::map<std::string, std::uint64_t>{{"no addresses", 2}}, "");
                if (name == "short")
                    return std::make_unique<FakeInput>(
                        20000, 3,
                        std::map<std::string, std::uint64_t>{{"no addresses", 1}, {"odd", 4}},
                        "short: ended early");
                if (name == "empty")
                    return std::make_unique<FakeInput>(0, 0, std::map<std::string, std::uint64_t>{},
                                                       "");
                return tl::unexpected(name + ": not a log");
            });
    }
};

TEST_F(ImportTest, EveryInputIsStoredInItsOrderAndWhatWasSkippedIsTold) {
    const ImportReport report = import({"long", "empty", "long"});
    EXPECT_EQ(report.text(), "imported 20000 records, skipped 4\n  no addresses: 4\n");
    EXPECT_EQ(report.exitStatus(), 0);
    EXPECT_EQ(figures().rows, 20000u);
    EXPECT_EQ(numbers(0, kEver).front(), 9999u);
    // Durable: nothing of it waits in the log.
    EXPECT_EQ(
        std::filesystem::exists(path + "-wal") ? std::filesystem::file_size(path + "-wal") : 0, 0u);
}

TEST_F(ImportTest, ABrokenInputKeepsNothingElseFromBeingStored) {
    const ImportReport report = import({"missing", "short", "long"});
    EXPECT_EQ(report.text(), "imported 10003 records, skipped 7\n  no addresses: 3\n  odd: 4\n");
    EXPECT_THAT(report.problems, ElementsAre("missing: not a log", "short: ended early"));
    EXPECT_EQ(report.exitStatus(), 3);
    EXPECT_EQ(figures().rows, 10003u);
}

TEST_F(ImportTest, AStoreThatLosesRecordsIsAnError) {
    open();
    sqlite::Connection(path, sqlite::Access::readWrite)
        .execute("CREATE TRIGGER full BEFORE INSERT ON records "
                 "BEGIN SELECT RAISE(ABORT, 'disk full'); END");
    const ImportReport report = import({"short", "missing"});
    EXPECT_EQ(report.imported, 0u);
    EXPECT_EQ(report.storeError, "3 records could not be stored");
    EXPECT_EQ(report.exitStatus(), 1);
}

} // namespace
} // namespace brindle::tallyd
