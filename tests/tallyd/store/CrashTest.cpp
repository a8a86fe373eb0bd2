// SPDX-License-Identifier: BSD-2-Clause
#include "tests/tallyd/store/TallyFixture.h"

#include <csignal>
#include <numeric>

#include <sys/wait.h>
#include <unistd.h>

namespace brindle::tallyd {
namespace {

using CrashTest = TallyFixture;

constexpr std::uint32_t kBatch = 50;

/// Appends batches until it is killed, and writes each committed batch's number to `announce`.
[[noreturn]] void appendForever(const std::string& path, StoreUse use, int announce) {
    const auto store = Store::open(path);
    const auto writer = store ? store->writer(use) : tl::unexpected(store.error());
    if (!writer)
        ::_exit(2);
    for (std::uint32_t batch = 0;; ++batch) {
        std::vector<std::vector<PacketRecord>> chunks(1);
        for (std::uint32_t i = 0; i < kBatch; ++i)
            chunks[0].push_back(numbered(batch * kBatch + i, batch * kBatch + i));
        if (!(*writer)->append(chunks) ||
            ::write(announce, &batch, sizeof batch) != static_cast<ssize_t>(sizeof batch))
            ::_exit(3);
    }
}

TEST_F(CrashTest, EveryAnnouncedBatchOutlivesAKilledWriter) {
    for (const StoreUse use : {StoreUse::live, StoreUse::import}) {
        for (const std::uint32_t killAfter : {0u, 3u, 200u}) {
            SCOPED_TRACE(killAfter);
            path = folder.file(fmt::format("{}-{}", static_cast<int>(use), killAfter));
            int ends[2];
            ASSERT_EQ(::pipe(ends), 0);
            const pid_t child = ::fork();
            if (child == 0)
                appendForever(path, use, ends[1]);
            ::close(ends[1]);
            std::uint32_t announced = 0;
            std::uint32_t batch = 0;
            const auto next = [&] {
                const bool got = ::read(ends[0], &batch, sizeof batch) == sizeof batch;
                announced = got ? batch : announced;
                return got;
            };
            while (next() && batch < killAfter) {
            }
            ::kill(child, SIGKILL);
            while (next()) {
            }
            ::close(ends[0]);
            int status = 0;
            ::waitpid(child, &status, 0);
            ASSERT_TRUE(WIFSIGNALED(status));

            // Whole batches, all that were announced; one more may have been committed.
            const auto found = numbers(0, kEver);
            EXPECT_GE(found.size(), (announced + 1) * kBatch);
            EXPECT_EQ(found.size() % kBatch, 0u);
            std::vector<std::uint32_t> expected(found.size());
            std::iota(expected.rbegin(), expected.rend(), 0u);
            EXPECT_EQ(found, expected);
            EXPECT_EQ(figures().rows, found.size());
            compare(std::numeric_limits<std::int64_t>::min(), "after the kill");
            EXPECT_EQ(append(*writer(), {numbered(0, 0)}), found.size() + 1);
        }
    }
}

} // namespace
} // namespace brindle::tallyd
