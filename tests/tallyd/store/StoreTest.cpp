// SPDX-License-Identifier: BSD-2-Clause
#include "tests/tallyd/store/StoreFixture.h"

#include "tallyd/store/Schema.h"
#include "tallyd/store/Sqlite.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

namespace brindle::tallyd {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

TEST_F(StoreTest, EveryFieldComesBackAsItWasStored) {
    PacketRecord plain = numbered(1000, 1700000000123456);
    plain.srcport = 65535;
    plain.dstport = 443;
    plain.action = Action::block;
    PacketRecord outbound = numbered(0, 1700000000123457);
    outbound.direction = Direction::out;
    outbound.src = *IpAddress::parse("::");
    outbound.dst = *IpAddress::parse("255.255.255.255");
    PacketRecord bare; // no socket, no addresses, no texts, the start of time
    PacketRecord early = numbered(4294967294u, -1);
    early.rule = "12.\xc3\xa4nchor/\xff\x01 'quoted'";
    early.interface = std::string("with\0zero", 9);
    early.action = Action::block;
    early.direction = Direction::out;

    append(*writer(), {plain, outbound, bare, early});
    EXPECT_THAT(query(-kEver, kEver),
                ElementsAre(shown(outbound), shown(plain), shown(bare), shown(early)));
}

TEST_F(StoreTest, AnswersAreNewestFirstWithBothBoundsAndTiesInReverseOrderOfStoring) {
    const auto store = writer();
    append(*store, {numbered(1, 100), numbered(2, 200), numbered(3, 200), numbered(4, 300)});
    append(*store, {numbered(5, 200), numbered(6, 50)}); // an import of older records

    const struct {
        std::int64_t from, to;
        std::vector<std::uint32_t> expected;
    } cases[] = {
        {0, 1000, {4, 5, 3, 2, 1, 6}},
        {100, 200, {5, 3, 2, 1}},
        {101, 199, {}},
        {200, 200, {5, 3, 2}},
        {300, 100, {}},
        {301, kEver, {}},
        {-kEver, 50, {6}},
    };
    for (const auto& period : cases)
        EXPECT_EQ(numbers(period.from, period.to), period.expected)
            << period.from << " to " << period.to;
}

TEST_F(StoreTest, FiguresFollowWhatIsStoredAndPurged) {
    EXPECT_EQ(figures().rows, 0u);
    EXPECT_EQ(figures().oldest, std::nullopt);
    EXPECT_EQ(figures().newest, std::nullopt);

    const auto store = writer();
    append(*store, {numbered(1, 100), numbered(2, 300), numbered(3, 200)});
    EXPECT_EQ(store->purgeBefore(200, 10), 1u);
    const StoreFigures found = figures();
    EXPECT_EQ(found.rows, 2u);
    EXPECT_EQ(found.oldest, 200);
    EXPECT_EQ(found.newest, 300);
    EXPECT_EQ(found.lastSequence, 3u);
    EXPECT_GE(found.bytes, std::filesystem::file_size(path));
}

TEST_F(StoreTest, PurgingGoesInBatchesUpToTheTimeAndNoFurther) {
    const auto store = writer();
    append(*store, {numbered(1, 100), numbered(2, 100), numbered(3, 100), numbered(4, 101),
                    numbered(5, 102)});
    EXPECT_EQ(store->purgeBefore(102, 2), 2u);
    EXPECT_THAT(numbers(0, kEver), ElementsAre(5, 4, 3));
    EXPECT_EQ(store->purgeBefore(102, 2), 2u);
    EXPECT_EQ(store->purgeBefore(102, 2), 0u);
    EXPECT_THAT(numbers(0, kEver), ElementsAre(5));
}

TEST_F(StoreTest, SequenceNumbersAreNeverUsedAgain) {
    {
        const auto store = writer();
        EXPECT_EQ(append(*store, {numbered(1, 1), numbered(2, 2)}), 1u);
        EXPECT_EQ(store->purgeBefore(kEver, 100), 2u);
    }
    const auto first = writer();
    const auto second = writer(); // an import beside the daemon
    EXPECT_EQ(append(*first, {numbered(3, 3)}), 3u);
    EXPECT_EQ(append(*second, {numbered(4, 3), numbered(5, 3)}), 4u);
    EXPECT_EQ(append(*first, {numbered(6, 3)}), 6u);
    EXPECT_THAT(numbers(0, kEver), ElementsAre(6, 5, 4, 3));
    EXPECT_EQ(figures().rows, 4u);
}

TEST_F(StoreTest, APositionIsKeptWithItsRecordsOrNotAtAll) {
    const auto store = writer();
    const std::vector<std::vector<PacketRecord>> chunks{{numbered(1, 1)}};
    ASSERT_TRUE(store->append(chunks, {{"pflog:/log", "10"}}));
    EXPECT_EQ(writer()->positions()->at("pflog:/log"), "10");
    EXPECT_EQ(writer()->positions()->size(), 1u);

    sqlite::Connection(path, sqlite::Access::readWrite)
        .execute("CREATE TRIGGER refuse BEFORE UPDATE ON meta "
                 "BEGIN SELECT RAISE(ABORT, 'refused'); END");
    PacketRecord record = numbered(2, 2);
    record.rule = "a text the failed batch brought";
    const std::vector<std::vector<PacketRecord>> refused{{record}};
    EXPECT_EQ(store->append(refused, {{"pflog:/log", "20"}}).error(), "refused");
    EXPECT_EQ(writer()->positions()->at("pflog:/log"), "10");
    EXPECT_THAT(numbers(0, kEver), ElementsAre(1));

    // The text's id went with the batch: the next one may not use it.
    sqlite::Connection(path, sqlite::Access::readWrite).execute("DROP TRIGGER refuse");
    append(*store, {record});
    EXPECT_THAT(query(2, 2), ElementsAre(shown(record)));
}

TEST_F(StoreTest, AStoreIsForItsOwnerAndGroup) {
    open();
    struct stat status {};
    ASSERT_EQ(::stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07, 0u);
}

TEST_F(StoreTest, FilesThatAreNotOursAreRefusedAndLeftAsTheyAre) {
    const auto makeText = [](const std::string& file) {
        std::ofstream(file) << "Nov 14 22:13:20 host kernel: not a store, but worth keeping\n"
                            << std::string(500, 'x');
    };
    const auto makeShort = [](const std::string& file) {
        std::ofstream(file) << "SQLite format 3";
    };
    const auto makeForeign = [](const std::string& file) {
        sqlite::Connection connection(file, sqlite::Access::readWrite);
        connection.execute("PRAGMA journal_mode = WAL");
        connection.execute("CREATE TABLE records (time, seq)");
    };
    const auto makeNewer = [](const std::string& file) {
        ASSERT_TRUE(Store::open(file));
        sqlite::Connection connection(file, sqlite::Access::readWrite);
        connection.execute(fmt::format("PRAGMA user_version = {}", newestSchemaVersion() + 1));
    };
    const auto makeDamaged = [](const std::string& file) {
        ASSERT_TRUE(Store::open(file));
        std::fstream damage(file, std::ios::in | std::ios::out | std::ios::binary);
        damage.seekp(100);
        damage << std::string(4096 * 4, '\x5a');
    };
    const struct {
        const char* name;
        std::function<void(const std::string&)> make;
        const char* reason;
    } cases[] = {
        {"text", makeText, "holds something else"},
        {"short", makeShort, "holds something else"},
        {"foreign", makeForeign, "belongs to another program"},
        {"newer", makeNewer, "newer program"},
        {"damaged", makeDamaged, "malformed"},
    };
    for (const auto& refused : cases) {
        SCOPED_TRACE(refused.name);
        const std::string file = folder.file(refused.name);
        refused.make(file);
        const std::string before = contents(file);
        const auto store = Store::open(file);
        ASSERT_FALSE(store);
        EXPECT_THAT(store.error(), HasSubstr(file));
        EXPECT_THAT(store.error(), HasSubstr(refused.reason));
        EXPECT_EQ(store.error().find('\n'), std::string::npos);
        EXPECT_EQ(contents(file), before);
    }
    EXPECT_THAT(Store::open(folder.file("")).error(), HasSubstr("cannot open store"));
    EXPECT_THAT(Store::open(folder.file("no/such/folder")).error(), HasSubstr("No such file"));
}

TEST_F(StoreTest, AnEmptyFileBecomesAStore) {
    std::ofstream{path};
    append(*writer(), {numbered(1, 1)});
    EXPECT_THAT(numbers(0, 1), ElementsAre(1));
}

TEST_F(StoreTest, ARecordWhoseTextIsGoneIsAnErrorNotARow) {
    append(*writer(), {numbered(1, 1)});
    sqlite::Connection(path, sqlite::Access::readWrite).execute("DELETE FROM texts");
    const auto reader = std::move(*open().reader());
    const auto cursor = std::move(*reader->openCursor(0, kEver));
    EXPECT_THAT(cursor->next().error(), HasSubstr("damaged"));
    EXPECT_EQ(*cursor->next(), nullptr);
}

} // namespace
} // namespace brindle::tallyd
