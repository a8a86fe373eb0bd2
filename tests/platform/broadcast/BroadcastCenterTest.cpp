// SPDX-License-Identifier: BSD-2-Clause
#include "platform/broadcast/BroadcastCenter.h"
#include "platform/queue/main/MainQueue.h"
#include "tests/platform/broadcast/PrivateBus.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QElapsedTimer>
#include <QLoggingCategory>
#include <QTest>
#include <QThread>

#include <csignal>
#include <functional>
#include <string>
#include <vector>

namespace brindle::platform {
namespace {

using testing::ElementsAre;
using Claim = BroadcastCenter::Claim;

bool until(const std::function<bool()>& holds) {
    return QTest::qWaitFor(holds, 20000);
}

class Broadcasts : public testing::Test {
  protected:
    void SetUp() override {
        if (!bus.isRunning()) {
            GTEST_SKIP() << test::PrivateBus::kMissing;
        }
    }

    std::unique_ptr<BroadcastCenter> center() {
        return makeBroadcastCenter(main, bus.address().toStdString());
    }
    /// What was asked of this center before has reached the bus.
    static void settle(BroadcastCenter& center) { center.hasOwner("org.vardex.Nobody"); }

    test::PrivateBus bus;
    std::shared_ptr<DispatchQueue> main = makeMainQueue();
};

TEST_F(Broadcasts, ReachEveryObserverOfTheNameAndNoOther) {
    const auto sender = center();
    const auto receiver = center();
    std::vector<std::vector<std::string>> received;
    std::vector<UserInfo> quitting;
    const auto addresses = receiver->observe("sendAddressesToVardex", [&](const UserInfo& info) {
        EXPECT_EQ(QThread::currentThread(), qApp->thread());
        received.push_back(info.at("addresses"));
    });
    const auto own = sender->observe("vardexIsQuitting",
                                     [&](const UserInfo& info) { quitting.push_back(info); });
    settle(*receiver);
    settle(*sender);

    sender->post("sendAddressesToVardex", {{"addresses", {"198.51.100.1", "2001:db8::1"}}});
    sender->post("sendAddressesToVardex", {{"addresses", {}}});
    receiver->post("vardexIsQuitting", {});
    ASSERT_TRUE(until([&] { return received.size() >= 2 && !quitting.empty(); }));
    EXPECT_THAT(received[0], ElementsAre("198.51.100.1", "2001:db8::1"));
    EXPECT_THAT(received[1], ElementsAre());
    EXPECT_TRUE(quitting[0].empty());
}

TEST_F(Broadcasts, AreSignalsThatOtherProgramsOfTheBusUnderstand) {
    QProcess monitor;
    monitor.start("dbus-monitor", {"--address", bus.address(), "type='signal'"});
    if (!monitor.waitForStarted()) {
        GTEST_SKIP() << "needs dbus-monitor";
    }
    QByteArray seen;
    const auto sender = center();
    ASSERT_TRUE(until([&] {
        sender->post("ready", {});
        seen += monitor.readAllStandardOutput();
        return seen.contains("member=ready");
    }));
    sender->post("addAddressToVardexBlackList", {{"addresses", {"192.0.2.1"}}});
    ASSERT_TRUE(until([&] {
        seen += monitor.readAllStandardOutput();
        return seen.contains("192.0.2.1");
    }));
    monitor.kill();
    monitor.waitForFinished();
    const QByteArray signal = seen.mid(seen.indexOf("addAddress") - 120);
    EXPECT_TRUE(signal.contains("path=/org/vardex/DistributedNotification; "
                                "interface=org.vardex.DistributedNotification; "
                                "member=addAddressToVardexBlackList"))
        << signal.constData();
    const QString shape = QString::fromLatin1(signal.mid(signal.indexOf("array ["))).simplified();
    EXPECT_TRUE(shape.startsWith("array [ dict entry( string \"addresses\" variant array [ string "
                                 "\"192.0.2.1\" ] ) ]"))
        << shape.toStdString();
}

TEST_F(Broadcasts, OfAnotherFormAreTakenWithoutWhatCannotBeRead) {
    const auto receiver = center();
    std::vector<UserInfo> received;
    const auto observed =
        receiver->observe("vardexIsQuitting", [&](const UserInfo& i) { received.push_back(i); });
    settle(*receiver);

    QDBusConnection stranger = QDBusConnection::connectToBus(bus.address(), "stranger");
    const auto send = [&](const QList<QVariant>& arguments) {
        QDBusMessage message =
            QDBusMessage::createSignal("/org/vardex/DistributedNotification",
                                       "org.vardex.DistributedNotification", "vardexIsQuitting");
        message.setArguments(arguments);
        stranger.send(message);
    };
    send({});
    send({QStringLiteral("text"), 5});
    send({QVariantMap{{"addresses", 7}}});
    send({QVariantMap{{"addresses", QVariantList{1, "two"}}}});
    send({QVariantMap{{"addresses", QStringList{"192.0.2.1"}}, {"more", true}}});
    ASSERT_TRUE(until([&] { return received.size() >= 5; }));
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_TRUE(received[i].empty()) << i;
    }
    EXPECT_THAT(received[4], ElementsAre(testing::Pair("addresses", ElementsAre("192.0.2.1"))));
    QDBusConnection::disconnectFromBus("stranger");
}

TEST_F(Broadcasts, EndedObservationsHearNothingMore) {
    const auto sender = center();
    const auto receiver = center();
    int ended = 0;
    int kept = 0;
    auto first = receiver->observe("note", [&](const UserInfo&) { ++ended; });
    const auto second = receiver->observe("note", [&](const UserInfo&) { ++kept; });
    settle(*receiver);
    sender->post("note", {});
    // Delivered to the process, perhaps, but not yet to the handler.
    settle(*sender);
    first.reset();
    sender->post("note", {});
    ASSERT_TRUE(until([&] { return kept == 2; }));
    EXPECT_EQ(ended, 0);
}

TEST_F(Broadcasts, PostedJustBeforeTheProgramEndsStillLeave) {
    const auto receiver = center();
    int heard = 0;
    const auto observed = receiver->observe("vardexIsQuitting", [&](const UserInfo&) { ++heard; });
    settle(*receiver);
    center()->post("vardexIsQuitting", {});
    EXPECT_TRUE(until([&] { return heard == 1; }));
}

TEST_F(Broadcasts, ANameBelongsToOneProgramUntilItEnds) {
    auto first = center();
    const auto second = center();
    std::vector<bool> owned;
    const auto watched =
        second->observeOwner("org.vardex.Vardex", [&](bool has) { owned.push_back(has); });
    EXPECT_FALSE(second->hasOwner("org.vardex.Vardex"));

    std::vector<Claim> claims;
    first->own("org.vardex.Vardex", [&](Claim claim) { claims.push_back(claim); });
    ASSERT_TRUE(until([&] { return claims.size() == 1; }));
    second->own("org.vardex.Vardex", [&](Claim claim) { claims.push_back(claim); });
    ASSERT_TRUE(until([&] { return claims.size() == 2; }));
    EXPECT_THAT(claims, ElementsAre(Claim::owned, Claim::taken));
    EXPECT_TRUE(second->hasOwner("org.vardex.Vardex"));
    EXPECT_FALSE(second->hasOwner("org.vardex.Vard"));

    first.reset();
    ASSERT_TRUE(until([&] { return owned.size() == 2; }));
    EXPECT_THAT(owned, ElementsAre(true, false));
    EXPECT_FALSE(second->hasOwner("org.vardex.Vardex"));
}

TEST_F(Broadcasts, ArgumentsAreHandedOverToTheOwnerOfTheName) {
    const auto first = center();
    const auto second = center();
    std::vector<std::vector<std::string>> received;
    std::vector<bool> taken;
    const auto note = [&](bool was) { taken.push_back(was); };
    second->handOver("org.vardex.Vardex", {"nobody is there"}, note);
    ASSERT_TRUE(until([&] { return taken.size() == 1; }));

    const auto observed = first->receiveHandOvers(
        "org.vardex.Vardex", [&](std::vector<std::string> a) { received.push_back(std::move(a)); });
    first->own("org.vardex.Vardex", {});
    settle(*first);
    second->handOver("org.vardex.Vardex", {"blacklist", "192.0.2.1"}, note);
    second->handOver("org.vardex.Vardex", {}, note);
    ASSERT_TRUE(until([&] { return taken.size() == 3 && received.size() == 2; }));
    EXPECT_THAT(taken, ElementsAre(false, true, true));
    EXPECT_THAT(received, ElementsAre(ElementsAre("blacklist", "192.0.2.1"), ElementsAre()));
}

TEST_F(Broadcasts, ABusThatHangsHoldsNobodyUp) {
    const auto waiting = center();
    settle(*waiting);
    ASSERT_EQ(::kill(static_cast<pid_t>(bus.processId()), SIGSTOP), 0);
    QElapsedTimer timer;
    timer.start();
    for (int i = 0; i < 100; ++i) {
        waiting->post("note", {{"addresses", {"192.0.2.1"}}});
    }
    waiting->own("org.vardex.Vardex", {});
    EXPECT_FALSE(waiting->hasOwner("org.vardex.Vardex"));
    EXPECT_LT(timer.elapsed(), 10000) << "one call alone waits 25 seconds by itself";
    ::kill(static_cast<pid_t>(bus.processId()), SIGCONT);
}

/// A bus that ends, and one that was never there.
TEST_F(Broadcasts, WithoutABusNothingHappensAndTheDebugLogSaysSo) {
    static QStringList lines;
    lines.clear();
    const auto previous = qInstallMessageHandler(
        [](QtMsgType, const QMessageLogContext&, const QString& line) { lines.append(line); });
    for (const char* rules : {"", "brindle.*=true"}) {
        QLoggingCategory::setFilterRules(rules);
        lines.clear();
        {
            const auto lonely = makeBroadcastCenter(main, "unix:path=/nonexistent/bus");
            std::vector<Claim> claims;
            std::vector<bool> taken;
            const auto observed = lonely->observe("note", [](const UserInfo&) { FAIL(); });
            const auto hands = lonely->receiveHandOvers(
                "org.vardex.Vardex", [](const std::vector<std::string>&) { FAIL(); });
            lonely->post("note", {});
            EXPECT_FALSE(lonely->hasOwner("org.vardex.Vardex"));
            lonely->own("org.vardex.Vardex", [&](Claim claim) { claims.push_back(claim); });
            lonely->handOver("org.vardex.Vardex", {}, [&](bool was) { taken.push_back(was); });
            ASSERT_TRUE(until([&] { return !claims.empty() && !taken.empty(); }));
            EXPECT_EQ(claims[0], Claim::noBus);
            EXPECT_FALSE(taken[0]);
        }
        EXPECT_EQ(lines.filter("no session bus").isEmpty(), *rules == 0) << lines.size();
    }
    QLoggingCategory::setFilterRules({});
    qInstallMessageHandler(previous);

    const auto orphan = center();
    settle(*orphan);
    bus.stop();
    orphan->post("note", {});
    EXPECT_FALSE(orphan->hasOwner("org.vardex.Vardex"));
}

} // namespace
} // namespace brindle::platform

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    QCoreApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
