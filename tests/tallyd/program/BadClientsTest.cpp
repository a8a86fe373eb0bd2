// SPDX-License-Identifier: BSD-2-Clause
//
// Whatever clients do, records are stored, others are answered, and what the daemon took for them
// is given back.
#include "tests/tallyd/program/BesiegedDaemon.h"

#include <algorithm>
#include <memory>
#include <random>

namespace brindle::tallyd {
namespace {

using BadClients = BesiegedDaemon;
using std::chrono::milliseconds;

/// The store's connections of the workers come with the first work, and stay.
constexpr std::size_t kWorkersDescriptors = 16;

long long millisecondsOf(std::chrono::steady_clock::duration time) {
    return std::chrono::duration_cast<milliseconds>(time).count();
}

TEST_F(BadClients, TwoHundredAtOnceAreAnswered) {
    std::vector<std::unique_ptr<test::Client>> clients;
    test::Inbox<std::uint64_t> answers;
    for (int i = 0; i < 200; ++i)
        clients.push_back(
            std::make_unique<test::Client>([this]() -> tl::expected<int, std::string> {
                return ::dup(RawClient(socket).descriptor());
            }));
    const std::size_t following = kSanitized ? clients.size() / 10 : clients.size();
    for (std::size_t i = 0; i < clients.size(); ++i) {
        const auto& client = clients[i];
        if (i < following)
            client->proxy()->startSendingLog();
        client->proxy()->getStatusWithReply(
            [&](const DaemonStatus& status) { answers.put(status.received); });
    }
    EXPECT_EQ(answers.waitFor(200).size(), 200u);
    EXPECT_EQ(status(bystander()).clients, 201u);
    // More than can be sent to all who follow: whoever asks is answered meanwhile.
    for (std::size_t i = 0; i < following; ++i)
        EXPECT_FALSE(clients[i]->agent->live.waitFor(1).empty());
    for (int i = 0; i < 20; ++i) {
        expectAnswers();
        ::usleep(20000);
    }
    clients.clear();
    expectAllStored();
    RecordProperty("longestAnswerMilliseconds", std::to_string(millisecondsOf(longestAnswer)));
}

TEST_F(BadClients, OnesThatNeverReadHoldUpNobody) {
    const std::string everything = askingForEverything(30);
    ASSERT_GT(everything.size(), 30u * 1000);
    std::vector<RawClient> deaf;
    for (int i = 0; i < 8; ++i) {
        deaf.emplace_back(socket);
        EXPECT_EQ(deaf.back().send(everything), everything.size());
    }
    for (int i = 0; i < 20; ++i) {
        expectAnswers();
        ::usleep(50000);
    }
    expectAllStored();
}

TEST_F(BadClients, NonsenseEndsItsConnectionAlone) {
    const std::string everything = askingForEverything(2);
    std::mt19937 random(7);
    const auto number = [&](std::size_t below) { return random() % below; };
    expectAnswers();
    const std::size_t before = descriptors();
    const auto expectEnd = [&](const std::string& bytes) {
        const RawClient client(socket);
        client.send(bytes);
        client.endSending();
        EXPECT_TRUE(client.isClosed());
    };
    for (int i = 0; i < 100; ++i) {
        std::string noise(1 + number(2000), '\0');
        std::generate(noise.begin(), noise.end(), [&] { return static_cast<char>(random()); });
        expectEnd(noise);
        expectEnd(everything.substr(0, number(everything.size())));
        std::string spoilt = everything;
        for (int k = 0; k < 1 + i % 5; ++k)
            spoilt[number(spoilt.size())] = static_cast<char>(random());
        expectEnd(spoilt);
        if (i % 20 == 0)
            expectAnswers();
    }
    // A message of 2 MiB is not read to its end, and not waited for either.
    const RawClient tooLong(socket);
    tooLong.send(std::string("\0\0\0\0\0\0\x04\0", 8) + std::string(2 << 20, '\0'));
    EXPECT_TRUE(tooLong.isClosed());
    waitForQuiet();
    EXPECT_LE(descriptors(), before + kWorkersDescriptors);
    expectAllStored();
}

TEST_F(BadClients, TenThousandThatComeAndGoLeaveNothingBehind) {
    // What the daemon may keep beyond what it had: see docs/OPERATING.md.
    constexpr std::size_t kKeptKilobytes = 32 * 1024;
    const std::string everything = askingForEverything(1);
    const auto comeAndGo = [&](int times) {
        for (int i = 0; i < times; ++i) {
            const RawClient client(socket);
            // Most say nothing; some begin to ask, others go before they hear the answers.
            if (i % 10 == 0)
                client.send(std::string_view(everything).substr(0, 1 + i % everything.size()));
            else if (i % 25 == 1)
                client.send(everything);
            if (i % 1000 == 0)
                expectAnswers();
        }
    };
    comeAndGo(1000); // whatever is made once is made by now
    waitForQuiet();
    const std::size_t descriptorsBefore = descriptors();
    const std::size_t memoryBefore = memoryKilobytes();
    const auto began = Clock::now();
    comeAndGo(10000);
    const auto lasted = Clock::now() - began;
    waitForQuiet();
    EXPECT_LE(descriptors(), descriptorsBefore + kWorkersDescriptors);
    expectAllStored();
    if (!kSanitized) {
        EXPECT_LE(memoryKilobytes(), memoryBefore + kKeptKilobytes);
    }
    RecordProperty("milliseconds", std::to_string(millisecondsOf(lasted)));
    RecordProperty("kilobytesBefore", std::to_string(memoryBefore));
    RecordProperty("kilobytesAfter", std::to_string(memoryKilobytes()));
    RecordProperty("longestAnswerMilliseconds", std::to_string(millisecondsOf(longestAnswer)));
}

TEST_F(BadClients, OneThatAsksForEverythingAHundredTimesAtOnceHoldsUpNobody) {
    const std::string everything = askingForEverything(100);
    for (int round = 0; round < 3; ++round) {
        const RawClient greedy(socket);
        EXPECT_EQ(greedy.send(everything), everything.size());
        expectAnswers();
        EXPECT_FALSE(greedy.isClosed(500)) << "its answers and refusals are no reason to end it";
        expectAnswers();
    }
    expectAllStored();
    RecordProperty("longestAnswerMilliseconds", std::to_string(millisecondsOf(longestAnswer)));
}

} // namespace
} // namespace brindle::tallyd
