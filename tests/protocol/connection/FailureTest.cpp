// SPDX-License-Identifier: BSD-2-Clause
//
// Connections that cannot be made, break, are ended, or meet a peer that talks nonsense.
#include "tests/protocol/FakeDaemon.h"

#include <array>
#include <thread>

#include <fcntl.h>
#include <poll.h>

using namespace brindle;
using namespace brindle::test;
using Texts = std::vector<std::string>;

namespace {

constexpr const char* kClosed = "tallyd closed the connection";
constexpr const char* kEndedHere = "the connection to tallyd was closed on this side";

class Failures : public testing::Test {
  protected:
    FakeService service;
    /// Holds getVersion up until it opens.
    void holdVersion() {
        service.onVersion = [this] {
            asked.put(true);
            EXPECT_TRUE(answer.wait());
            return "late";
        };
    }
    Inbox<bool> asked;
    Gate answer;
};

void failIfCalled(std::string) {
    ADD_FAILURE() << "a request that failed had a reply";
}

/// Whether the peer closed its end, waiting for it.
bool isClosedByPeer(int fd) {
    char byte;
    for (;;) {
        pollfd waiting{fd, POLLIN, 0};
        if (::poll(&waiting, 1, 30000) <= 0)
            return false;
        const auto count = ::read(fd, &byte, 1);
        if (count <= 0)
            return true;
    }
}

} // namespace

TEST_F(Failures, aConnectionThatCannotBeMadeFailsEveryRequestThenIsInvalid) {
    const std::string text = "cannot connect to tallyd at /x: No such file or directory";
    std::vector<std::string> order;
    std::atomic<int> connects{0};
    const auto connection = openTallydConnection(
        [&]() -> tl::expected<int, std::string> {
            ++connects;
            return tl::unexpected(text);
        },
        {});
    Gate invalid;
    connection->setInvalidationHandler([&] {
        connection->setInvalidationHandler({}); // from within: it runs once
        order.push_back("invalid");
        invalid.open();
    });
    const auto proxy = connection->remoteObjectProxyWithErrorHandler(
        [&](const std::string& error) { order.push_back(error); });
    proxy->getVersionWithReply(failIfCalled); // waits for resume
    QueryEvents query;
    proxy->doQueryFromEpochFrom(0, 1, query.reply());
    connection->resume();
    ASSERT_TRUE(invalid.wait());
    EXPECT_EQ(order, (Texts{text, text, "invalid"}));
    connection->resume();
    Texts later;
    const auto synchronous = connection->synchronousRemoteObjectProxyWithErrorHandler(
        [&](const std::string& error) { later.push_back(error); });
    synchronous->getVersionWithReply(failIfCalled);
    synchronous->startSendingLog();
    EXPECT_EQ(later, (Texts{text, text}));
    EXPECT_EQ(connects, 1);
    EXPECT_EQ(query.events.now(), Texts{});
}

TEST_F(Failures, aDaemonThatGoesFailsWhatIsUnderWayOnce) {
    holdVersion();
    auto server = makeTallydServer(service);
    Client client(*server);
    client.proxy()->getVersionWithReply(failIfCalled);
    Texts synchronousErrors;
    std::thread waiting([&] {
        client.connection
            ->synchronousRemoteObjectProxyWithErrorHandler(
                [&](const std::string& error) { synchronousErrors.push_back(error); })
            ->getVersionWithReply(failIfCalled);
    });
    ASSERT_EQ(asked.waitFor(2).size(), 2u);
    std::thread closing([&] { server.reset(); });
    EXPECT_EQ(client.invalidated.waitFor(1).size(), 1u);
    answer.open();
    closing.join();
    waiting.join();
    EXPECT_EQ(client.errors.now(), (Texts{kClosed}));
    EXPECT_EQ(synchronousErrors, (Texts{kClosed}));
    client.proxy()->startSendingLog();
    EXPECT_EQ(client.errors.waitFor(2), (Texts{kClosed, kClosed}));
    EXPECT_EQ(client.invalidated.now().size(), 1u);
}

TEST_F(Failures, invalidateEndsWhatIsUnderWayAndIsHarmlessAgain) {
    holdVersion();
    const auto server = makeTallydServer(service);
    Client client(*server);
    client.proxy()->getVersionWithReply(failIfCalled);
    asked.waitFor(1);
    client.connection->invalidate();
    client.connection->invalidate();
    EXPECT_EQ(client.invalidated.waitFor(1).size(), 1u);
    EXPECT_EQ(client.errors.now(), (Texts{kEndedHere}));
    const auto proxy = client.proxy();
    client.connection.reset();
    EXPECT_EQ(client.invalidated.now().size(), 1u);
    // A proxy may outlive its connection.
    proxy->getVersionWithReply(failIfCalled);
    proxy->doQueryFromEpochFrom(0, 1, {[](auto) { ADD_FAILURE(); }, [] { ADD_FAILURE(); }})
        ->cancel();
    EXPECT_EQ(client.errors.now().size(), 3u);
    answer.open();
}

TEST_F(Failures, aSynchronousRequestEndsAsAnErrorWhenNoAnswerComes) {
    holdVersion();
    const auto server = makeTallydServer(service);
    Client client(*server);
    client.synchronous()->getVersionWithReply(failIfCalled);
    EXPECT_EQ(client.errors.now(), (Texts{"tallyd did not answer within 5 seconds"}));
    answer.open();
    // The late answer is nobody's, the connection stands.
    Inbox<std::string> rows;
    client.synchronous()->getRowsCountWithReply([&](std::string text) { rows.put(text); });
    EXPECT_EQ(rows.now(), (Texts{"0"}));
}

TEST_F(Failures, aSynchronousRequestFromACallbackFailsInsteadOfWaitingForItself) {
    const auto server = makeTallydServer(service);
    Client client(*server);
    client.proxy()->getVersionWithReply(
        [&](auto) { client.synchronous()->getVersionWithReply(failIfCalled); });
    EXPECT_EQ(client.errors.waitFor(1),
              (Texts{"a synchronous request cannot be made from the connection's own thread"}));
}

TEST_F(Failures, peersThatTalkNonsenseLoseTheirConnectionOnly) {
    const std::string request("GET / HTTP/1.1\r\nHost: localhost\r\n\r\n");
    const std::string cases[]{
        std::string(4096, '\xff'), request, std::string(64, '\0'),
        // one segment of 4 GiB of words; a message that announces more than it may
        std::string("\0\0\0\0\xff\xff\xff\xff", 8), std::string("\0\0\0\0\0\0\x10\0", 8)};
    const auto server = makeTallydServer(service);
    Client good(*server);
    for (const std::string& bytes : cases) {
        const auto [theirs, ours] = socketPair();
        server->accept(theirs, fullAccess());
        ASSERT_EQ(::write(ours, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
        ::shutdown(ours, SHUT_WR); // what is cut short counts as nonsense too
        EXPECT_TRUE(isClosedByPeer(ours));
        ::close(ours);
        Inbox<std::string> version;
        good.synchronous()->getVersionWithReply([&](std::string text) { version.put(text); });
        EXPECT_EQ(version.now(), (Texts{"1.2.3"}));
    }
}

TEST_F(Failures, aDaemonThatTalksNonsenseFailsTheRequests) {
    Client client([]() -> tl::expected<int, std::string> {
        const auto [theirs, ours] = socketPair();
        const std::string nonsense(4096, '\xff');
        EXPECT_EQ(::write(theirs, nonsense.data(), nonsense.size()), 4096);
        ::close(theirs);
        return ours;
    });
    client.proxy()->getVersionWithReply(failIfCalled);
    EXPECT_EQ(client.errors.waitFor(1), (Texts{kClosed}));
    EXPECT_EQ(client.invalidated.waitFor(1).size(), 1u);
}

TEST_F(Failures, refusedPeersAreCutOffAndKeepNobodyOut) {
    const PeerAccess nobody{false, false, "no", "no"};
    ServerLimits limits;
    limits.connections = 8; // one of them for the refused
    const auto server = makeTallydServer(service, limits);
    const auto [theirs, ours] = socketPair();
    server->accept(theirs, nobody);
    const auto [secondTheirs, secondOurs] = socketPair();
    server->accept(secondTheirs, nobody);
    EXPECT_TRUE(isClosedByPeer(secondOurs));
    std::vector<std::unique_ptr<Client>> clients;
    for (int i = 0; i < 7; ++i) {
        clients.push_back(std::make_unique<Client>(*server));
        clients.back()->synchronous()->startSendingLog();
        EXPECT_EQ(clients.back()->errors.now(), Texts{});
    }
    Client tooMany(*server);
    tooMany.proxy()->startSendingLog();
    EXPECT_EQ(tooMany.errors.waitFor(1), (Texts{kClosed}));
    // Endless harmless messages of one word: more than a refused peer has any use for.
    const std::string message("\0\0\0\0\x01\0\0\0\0\0\0\0\0\0\0\0", 16);
    ::fcntl(ours, F_SETFL, O_NONBLOCK);
    for (std::size_t sent = 0; sent < 1 << 20;) {
        const auto count = ::send(ours, message.data(), message.size(), MSG_NOSIGNAL);
        if (count <= 0)
            break;
        sent += static_cast<std::size_t>(count);
    }
    EXPECT_TRUE(isClosedByPeer(ours));
    ::close(ours);
    ::close(secondOurs);
}

TEST_F(Failures, oneUsersClientsLeaveRoomForThoseOfOthers) {
    ServerLimits limits;
    limits.connections = 16;
    limits.connectionsPerUser = 3;
    const auto server = makeTallydServer(service, limits);
    const auto as = [](std::uint32_t user) {
        PeerAccess access = fullAccess();
        access.user = user;
        return access;
    };
    const auto errorsOf = [](Client& client) {
        client.synchronous()->getVersionWithReply([](auto) {});
        return client.errors.now();
    };
    std::vector<std::unique_ptr<Client>> clients;
    for (int i = 0; i < 3; ++i) {
        clients.push_back(std::make_unique<Client>(*server, as(1000)));
        EXPECT_EQ(errorsOf(*clients.back()), Texts{});
    }
    Client beyond(*server, as(1000));
    EXPECT_EQ(errorsOf(beyond), (Texts{"the daemon refused: this user has 3 connections already"}));
    Client other(*server, as(1001));
    EXPECT_EQ(errorsOf(other), Texts{});
    // One that leaves makes room, as soon as the daemon has seen it.
    clients.pop_back();
    Texts errors{"not yet"};
    for (int i = 0; i < 1000 && !errors.empty(); ++i) {
        Client again(*server, as(1000));
        errors = errorsOf(again);
    }
    EXPECT_EQ(errors, Texts{});
}

TEST_F(Failures, requestsBeyondTheLimitsOfOneClientAreRefused) {
    holdVersion();
    ServerLimits limits;
    limits.requestsPerConnection = 5;
    limits.messageBytes = 65536;
    const auto server = makeTallydServer(service, limits);
    Client client(*server);
    Inbox<std::string> versions;
    for (int i = 0; i < 6; ++i)
        client.proxy()->getVersionWithReply([&](std::string text) { versions.put(text); });
    EXPECT_EQ(client.errors.waitFor(1),
              (Texts{"the daemon refused: too many requests at once on this connection"}));
    answer.open();
    EXPECT_EQ(versions.waitFor(5).size(), 5u);
    // A request of a word more than may come; the one before it is as large as may be.
    for (const std::size_t bytes : {60000, 65536})
        client.proxy()->getOBJcontWithEpoch(0, "pass", "in", std::string(bytes, 'x'), [](auto) {});
    EXPECT_EQ(client.errors.waitFor(2).at(1), kClosed);
}
