// SPDX-License-Identifier: BSD-2-Clause
#include "app/link/VDXVardexLink.h"
#include "platform/queue/main/MainQueue.h"
#include "tests/platform/broadcast/PrivateBus.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace brindle {
namespace {

using platform::BroadcastCenter;
using platform::UserInfo;
using testing::ElementsAre;
using testing::IsEmpty;

bool until(const std::function<bool()>& holds) {
    return QTest::qWaitFor(holds, 20000);
}

/// The viewer's side and the side of a Vardex, on a bus of their own.
class VardexLink : public testing::Test {
  protected:
    void SetUp() override {
        if (!bus.isRunning()) {
            GTEST_SKIP() << test::PrivateBus::kMissing;
        }
        vardex = platform::makeBroadcastCenter(main, bus.address().toStdString());
        viewer = platform::makeBroadcastCenter(main, bus.address().toStdString());
        for (const char* name : {"addAddressToVardexBlackList", "sendAddressesToVardex"}) {
            observed.push_back(vardex->observe(name, [this, name](const UserInfo& info) {
                received[name].push_back(info.at("addresses"));
            }));
        }
        vardex->hasOwner("settled");
        link = std::make_unique<VDXVardexLink>(
            *viewer, [this](const std::string& line) { console.push_back(line); },
            "/opt/vardex/contents/companions/brindle",
            [this](const std::string& program, const std::vector<std::string>& arguments) {
                launches.push_back(arguments);
                launches.back().insert(launches.back().begin(), program);
            });
    }

    void startVardex() {
        bool owned = false;
        vardex->own(VDXVardexLink::kVardexName,
                    [&](BroadcastCenter::Claim c) { owned = c == BroadcastCenter::Claim::owned; });
        ASSERT_TRUE(until([&] { return owned; }));
    }
    /// Everything posted so far has been received.
    void settle() {
        int heard = 0;
        const auto last = vardex->observe("last", [&](const UserInfo&) { ++heard; });
        vardex->hasOwner("settled");
        viewer->post("last", {});
        ASSERT_TRUE(until([&] { return heard == 1; }));
    }

    using Posted = std::vector<std::vector<std::string>>;
    test::PrivateBus bus;
    std::shared_ptr<platform::DispatchQueue> main = platform::makeMainQueue();
    std::unique_ptr<BroadcastCenter> vardex;
    std::unique_ptr<BroadcastCenter> viewer;
    std::vector<std::unique_ptr<platform::Observation>> observed;
    std::map<std::string, Posted> received;
    std::vector<std::string> console;
    Posted launches;
    std::unique_ptr<VDXVardexLink> link;
};

TEST_F(VardexLink, BlackListsByNotificationWhileVardexRuns) {
    startVardex();
    EXPECT_TRUE(link->isFirewallAppRunning());
    link->blackListAddresses({"198.51.100.1", "198.51.100.1", "198.51.100.2"});
    link->blackListAddresses({});
    settle();
    EXPECT_THAT(received["addAddressToVardexBlackList"],
                ElementsAre(ElementsAre("198.51.100.1", "198.51.100.2"), IsEmpty()));
    EXPECT_THAT(console, ElementsAre("add 2 addresses to Vardex Black List...",
                                     "add 0 addresses to Vardex Black List..."));
    EXPECT_THAT(launches, IsEmpty());
    EXPECT_THAT(received["sendAddressesToVardex"], IsEmpty());
}

TEST_F(VardexLink, BlackListsByStartingVardexWhichDoesNotRun) {
    EXPECT_FALSE(link->isFirewallAppRunning());
    link->blackListAddresses({"198.51.100.1", "198.51.100.1", "198.51.100.2"});
    link->blackListAddresses({});
    settle();
    EXPECT_THAT(launches,
                ElementsAre(ElementsAre("/opt/vardex/vardex", "doNotShowMainWindowOnStartup",
                                        "blacklist", "198.51.100.1", "198.51.100.2"),
                            ElementsAre("/opt/vardex/vardex", "doNotShowMainWindowOnStartup",
                                        "blacklist")));
    EXPECT_THAT(console, IsEmpty());
    EXPECT_THAT(received["addAddressToVardexBlackList"], IsEmpty());

    // Looked up anew each time.
    startVardex();
    link->blackListAddresses({"198.51.100.3"});
    settle();
    EXPECT_EQ(launches.size(), 2u);
    EXPECT_EQ(received["addAddressToVardexBlackList"].size(), 1u);
}

TEST_F(VardexLink, SendsWithoutAskingWhetherVardexRuns) {
    link->sendAddresses({"203.0.113.9", "2001:db8::1", "203.0.113.9"});
    startVardex();
    link->sendAddresses({});
    settle();
    EXPECT_THAT(received["sendAddressesToVardex"],
                ElementsAre(ElementsAre("203.0.113.9", "2001:db8::1", "203.0.113.9"), IsEmpty()));
    EXPECT_THAT(console, IsEmpty());
    EXPECT_THAT(launches, IsEmpty());
}

TEST_F(VardexLink, HearsThatVardexQuitsAndLooksAtNothingElse) {
    int terminated = 0;
    auto observation = link->observeQuitting([&] { ++terminated; });
    viewer->hasOwner("settled");
    vardex->post("vardexQuits", {});
    vardex->post("vardexIsQuitting", {{"addresses", {"not read"}}});
    ASSERT_TRUE(until([&] { return terminated > 0; }));
    observation.reset();
    vardex->post("vardexIsQuitting", {});
    settle();
    EXPECT_EQ(terminated, 1);
}

TEST(VardexLinkWithoutABus, StartsVardexAndSaysNothing) {
    const auto lonely =
        platform::makeBroadcastCenter(platform::makeMainQueue(), "unix:path=/nonexistent/bus");
    std::vector<std::string> programs;
    const auto note = [&](const std::string& program, const std::vector<std::string>&) {
        programs.push_back(program);
    };
    const auto console = [](const std::string& line) { ADD_FAILURE() << line; };
    VDXVardexLink link(*lonely, console, "/a/b/c/d", note);
    link.sendAddresses({"192.0.2.1"});
    EXPECT_FALSE(link.isFirewallAppRunning());
    link.blackListAddresses({"192.0.2.1"});
    EXPECT_THAT(programs, ElementsAre("/a/vardex"));

    // Not installed inside the firewall application: there is nothing to start.
    VDXVardexLink(*lonely, console, "/b/c", note).blackListAddresses({"192.0.2.1"});
    EXPECT_EQ(programs.size(), 1u);
}

TEST(VardexProgram, IsThreeLevelsAboveTheViewersDirectory) {
    const std::vector<std::pair<std::string, std::string>> cases{
        {"/usr/lib/vardex/contents/companions/brindle", "/usr/lib/vardex/vardex"},
        {"/usr/lib/vardex/contents/companions/brindle/", "/usr/lib/vardex/vardex"},
        {"/usr//lib/a b/contents/companions/brindle", "/usr/lib/a b/vardex"},
        {"/contents/companions/brindle", "/vardex"},
        {"/companions/brindle", "none"},
        {"/", "none"},
        {"", "none"},
        {"some/contents/companions/brindle", "none"},
    };
    for (const auto& [bundle, program] : cases) {
        EXPECT_EQ(VDXVardexLink::vardexProgram(bundle).value_or("none"), program) << bundle;
    }
}

TEST(VardexLaunch, GivesEachArgumentAsItIsAndWaitsForNothing) {
    const QTemporaryDir folder;
    const QString script = folder.filePath("var dex");
    const QString output = folder.filePath("arguments");
    QFile file(script);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("#!/bin/sh\nfor one; do echo \"[$one]\"; done > \"$(dirname \"$0\")/written\"\n"
               "mv \"$(dirname \"$0\")/written\" \"$(dirname \"$0\")/arguments\"\nsleep 10\n");
    file.setPermissions(QFile::ReadOwner | QFile::ExeOwner | QFile::WriteOwner);
    file.close();
    QElapsedTimer timer;
    timer.start();
    VDXVardexLink::startDetached(script.toStdString(),
                                 {"blacklist", "2001:db8::1", "$(id) `id`;", ""});
    EXPECT_LT(timer.elapsed(), 9000);
    ASSERT_TRUE(until([&] { return QFile::exists(output); }));
    QFile written(output);
    ASSERT_TRUE(written.open(QIODevice::ReadOnly));
    EXPECT_EQ(written.readAll(), "[blacklist]\n[2001:db8::1]\n[$(id) `id`;]\n[]\n");
    // Ignored, as told.
    VDXVardexLink::startDetached(folder.filePath("missing").toStdString(), {"blacklist"});
}

} // namespace
} // namespace brindle

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    QCoreApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
