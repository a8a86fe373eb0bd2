// SPDX-License-Identifier: BSD-2-Clause
//
// The companion as it is installed, with a viewer and a helper of the test's own beside it.
#include "platform/broadcast/BroadcastCenter.h"
#include "platform/queue/main/MainQueue.h"
#include "tests/platform/broadcast/PrivateBus.h"
#include "vardex/companion/Arguments.h"
#include "vardex/companion/BrindleProcess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <sched.h>
#include <unistd.h>

namespace brindle::vardex {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

bool until(const std::function<bool()>& holds) {
    return QTest::qWaitFor(holds, 20000);
}

TEST(VardexArguments, AreUnderstoodInTheirOrder) {
    const auto parsed = Arguments::parse(
        {"doNotShowMainWindowOnStartup", "blacklist", "192.0.2.1", "doNotShowMainWindowOnStartup"});
    ASSERT_TRUE(parsed);
    EXPECT_TRUE(parsed->hidden);
    EXPECT_TRUE(parsed->byViewer);
    EXPECT_THAT(parsed->blackList, ElementsAre("192.0.2.1", "doNotShowMainWindowOnStartup"));
    EXPECT_FALSE(Arguments::parse({})->hidden);
    EXPECT_TRUE(Arguments::parse({"blacklist"})->byViewer);
    EXPECT_FALSE(Arguments::parse({"192.0.2.1"}));
    EXPECT_FALSE(Arguments::parse({"Blacklist", "192.0.2.1"}));
}

class Vardex : public testing::Test {
  protected:
    void SetUp() override {
        if (!bus.isRunning()) {
            GTEST_SKIP() << test::PrivateBus::kMissing;
        }
        center = platform::makeBroadcastCenter(main, bus.address().toStdString());
        const QDir app(folder.filePath("lib/vardex"));
        ASSERT_TRUE(app.mkpath("contents/companions/brindle"));
        ASSERT_TRUE(QDir(folder.path()).mkpath("share/vardex"));
        ASSERT_TRUE(QFile::copy(VARDEX, program()));
        script(app.filePath("contents/companions/brindle/brindle"),
               "echo \"$# $* [$BRINDLE_NATIONS_DB] [$HANDED_ON]\" >> '" + path("viewer") +
                   "'\nwhile [ -e '" + path("status") + "' ] && [ ! -e '" + path("viewer-end") +
                   "' ]; do sleep 0.05; done\n");
        answer(0, "");
        script(app.filePath("vardex-apply"), "cat > '" + path("input") + "'\ncat '" +
                                                 path("errors") + "' >&2\nmv '" + path("input") +
                                                 "' '" + path("applied") + "'\nexit $(cat '" +
                                                 path("status") + "')\n");
        // Who is not root asks this program first; its own answer is the helper's.
        script(path("pkexec"), "shift; exec \"$@\"\n");
    }
    void TearDown() override {
        write(path("viewer-end"), "");
        for (const auto& process : processes) {
            process->terminate();
            if (!process->waitForFinished(5000)) {
                process->kill();
                process->waitForFinished();
            }
        }
    }

    QString path(const QString& name) const { return folder.filePath(name); }
    QString program() const { return folder.filePath("lib/vardex/vardex"); }
    static void write(const QString& name, const QByteArray& bytes) {
        QFile file(name);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes);
    }
    static void script(const QString& name, const QString& text) {
        write(name, "#!/bin/sh\n" + text.toUtf8());
        QFile::setPermissions(name, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }
    static std::string content(const QString& name) {
        QFile file(name);
        return file.open(QIODevice::ReadOnly) ? file.readAll().toStdString() : std::string();
    }
    std::string applied() const { return content(path("applied")); }
    std::string list() const { return content(path("data/org.vardex.Vardex/blacklist")); }
    std::string viewer() const { return content(path("viewer")); }
    /// What the helper will say.
    void answer(int status, const QByteArray& errors) {
        write(path("status"), QByteArray::number(status));
        write(path("errors"), errors);
    }

    enum class Network { shared, own };
    QProcess& start(const QStringList& arguments, Network network = Network::shared) {
        processes.push_back(std::make_unique<QProcess>());
        QProcess& process = *processes.back();
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("DBUS_SESSION_BUS_ADDRESS", busAddress);
        environment.insert("XDG_DATA_HOME", path("data"));
        environment.insert("PATH", folder.path() + ":" + environment.value("PATH"));
        environment.insert("HANDED_ON", "as it was");
        environment.remove("BRINDLE_NATIONS_DB");
        process.setProcessEnvironment(environment);
        if (network == Network::own) {
            process.setChildProcessModifier([] {
                if (unshare(CLONE_NEWNET) != 0) {
                    _exit(99);
                }
            });
        }
        process.start(program(), arguments);
        EXPECT_TRUE(process.waitForStarted());
        return process;
    }
    bool isReady() {
        return until([&] { return center->hasOwner("org.vardex.Vardex"); });
    }
    /// The exit status of a program that ends by itself; -1 when it does not.
    static int status(QProcess& process) {
        return until([&] { return process.state() == QProcess::NotRunning; }) &&
                       process.exitStatus() == QProcess::NormalExit
                   ? process.exitCode()
                   : -1;
    }

    QTemporaryDir folder;
    test::PrivateBus bus;
    QString busAddress = bus.address();
    std::shared_ptr<platform::DispatchQueue> main = platform::makeMainQueue();
    std::unique_ptr<platform::BroadcastCenter> center;
    std::vector<std::unique_ptr<QProcess>> processes;
};

TEST_F(Vardex, StartsTheViewerOnceAndTellsItWhenItQuits) {
    write(path("share/vardex/worldCIDR.plist"), "");
    int quitting = 0;
    const auto observed =
        center->observe("vardexIsQuitting", [&](const platform::UserInfo&) { ++quitting; });
    QProcess& vardex = start({});
    ASSERT_TRUE(isReady());
    ASSERT_TRUE(until([&] { return !viewer().empty(); }));
    EXPECT_EQ(viewer(), "1 vardex [" + path("share/vardex/worldCIDR.plist").toStdString() +
                            "] [as it was]\n");
    EXPECT_EQ(status(start({})), 0); // a second start finds both
    EXPECT_EQ(quitting, 0);
    vardex.terminate();
    EXPECT_EQ(status(vardex), 0);
    EXPECT_TRUE(until([&] { return quitting == 1; }));
    EXPECT_THAT(viewer(), Not(HasSubstr("\n1")));
    EXPECT_FALSE(center->hasOwner("org.vardex.Vardex"));
}

TEST_F(Vardex, HandsOnTheNationDatabaseThatIsNamedOrItsOwn) {
    const QString own = path("share/vardex/worldCIDR.plist");
    const QString directory = path("lib/vardex");
    QProcessEnvironment environment;
    EXPECT_FALSE(
        BrindleProcess::environmentFor(directory, environment).contains("BRINDLE_NATIONS_DB"));
    write(own, "");
    EXPECT_EQ(BrindleProcess::environmentFor(directory, environment).value("BRINDLE_NATIONS_DB"),
              own);
    environment.insert("BRINDLE_NATIONS_DB", "/another");
    EXPECT_EQ(BrindleProcess::environmentFor(directory, environment).value("BRINDLE_NATIONS_DB"),
              "/another");
}

TEST_F(Vardex, StartedByTheViewerItBlackListsWithoutAnotherViewerOrAWindow) {
    start({"doNotShowMainWindowOnStartup", "blacklist", "198.51.100.2", "198.51.100.1", "nonsense",
           "2001:DB8::1", "--style=x"});
    ASSERT_TRUE(until([&] { return !applied().empty(); }));
    EXPECT_EQ(applied(), "198.51.100.2\n198.51.100.1\n2001:db8::1\n");
    EXPECT_THAT(list(), HasSubstr("\n2001:db8::1 20"));
    EXPECT_EQ(viewer(), "");
    EXPECT_TRUE(isReady());
}

TEST_F(Vardex, ASecondStartHandsOverAndEnds) {
    start({"doNotShowMainWindowOnStartup"});
    ASSERT_TRUE(isReady());
    QProcess& second = start({"doNotShowMainWindowOnStartup", "blacklist", "198.51.100.1"});
    EXPECT_EQ(status(second), 0);
    ASSERT_TRUE(until([&] { return applied() == "198.51.100.1\n"; }));
    EXPECT_EQ(status(start({"blacklist", "198.51.100.2"})), 0);
    ASSERT_TRUE(until([&] { return applied() == "198.51.100.1\n198.51.100.2\n"; }));
    EXPECT_EQ(processes.front()->state(), QProcess::Running);
    EXPECT_EQ(viewer().find("vardex"), viewer().rfind("vardex"));

    EXPECT_EQ(status(start({"198.51.100.3"})), 2);
    EXPECT_THAT(processes.back()->readAllStandardError().toStdString(), HasSubstr("usage: vardex"));
}

TEST_F(Vardex, TakesAddressesFromTheViewersMessages) {
    start({"doNotShowMainWindowOnStartup"});
    ASSERT_TRUE(isReady());
    answer(1, "refused 127.0.0.1: is a loopback address\n");
    center->post("addAddressToVardexBlackList",
                 {{"addresses", {"198.51.100.1", "127.0.0.1", "; flush ruleset"}}});
    ASSERT_TRUE(until([&] { return !applied().empty(); }));
    // Listed, and not insisted on: the helper refuses it.
    EXPECT_EQ(applied(), "198.51.100.1\n127.0.0.1\n");
    EXPECT_THAT(list(), Not(HasSubstr("insisted\n")));
    EXPECT_THAT(list(), Not(HasSubstr("flush")));
    center->post("addAddressToVardexBlackList", {});
    center->post("addAddressToVardexBlackList", {{"addresses", {}}});
    center->post("addAddressToVardexBlackList", {{"addresses", {"198.51.100.2"}}});
    EXPECT_TRUE(until([&] { return applied() == "198.51.100.1\n127.0.0.1\n198.51.100.2\n"; }));
    // Only offered: the user decides.
    center->post("sendAddressesToVardex", {{"addresses", {"198.51.100.9"}}});
    QTest::qWait(300);
    EXPECT_THAT(list(), Not(HasSubstr("198.51.100.9")));
}

TEST_F(Vardex, TheListOutlivesIt) {
    write(path("input"), "");
    QProcess& first = start({"doNotShowMainWindowOnStartup", "blacklist", "198.51.100.1"});
    ASSERT_TRUE(until([&] { return !applied().empty(); }));
    ASSERT_TRUE(isReady());
    first.terminate();
    ASSERT_EQ(status(first), 0);
    QFile::remove(path("applied"));
    start({"doNotShowMainWindowOnStartup"});
    EXPECT_TRUE(until([&] { return applied() == "198.51.100.1\n"; }));
}

TEST_F(Vardex, WithoutAWindowItEndsWithTheViewer) {
    QProcess& vardex = start({"doNotShowMainWindowOnStartup"});
    ASSERT_TRUE(until([&] { return !viewer().empty(); }));
    QTest::qWait(200);
    EXPECT_EQ(vardex.state(), QProcess::Running);
    write(path("viewer-end"), "");
    EXPECT_EQ(status(vardex), 0);
}

TEST_F(Vardex, WithoutABusItStillKeepsTheList) {
    busAddress = "unix:path=/nonexistent/bus";
    start({"doNotShowMainWindowOnStartup", "blacklist", "198.51.100.1"});
    ASSERT_TRUE(until([&] { return applied() == "198.51.100.1\n"; }));
    EXPECT_THAT(list(), HasSubstr("198.51.100.1 "));
}

TEST_F(Vardex, WithTheRealHelperAddressesReachThePacketFilter) {
    const QString nft = QStandardPaths::findExecutable("nft", {"/usr/sbin", "/sbin"});
    if (nft.isEmpty() || geteuid() != 0 ||
        QProcess::execute("unshare", {"--net", nft, "list", "tables"}) != 0) {
        GTEST_SKIP() << "needs nft and the right to make a network of its own (root)";
    }
    ASSERT_TRUE(QFile::remove(path("lib/vardex/vardex-apply")));
    ASSERT_TRUE(QFile::copy(VARDEX_APPLY, path("lib/vardex/vardex-apply")));
    QProcess& vardex = start(
        {"doNotShowMainWindowOnStartup", "blacklist", "198.51.100.1", "127.0.0.1", "2001:db8::/32"},
        Network::own);
    const auto rules = [&] {
        QProcess listing;
        listing.start("nsenter", {"--net=/proc/" + QString::number(vardex.processId()) + "/ns/net",
                                  nft, "list", "ruleset"});
        listing.waitForFinished();
        return listing.readAllStandardOutput().toStdString();
    };
    ASSERT_TRUE(until([&] { return rules().find("198.51.100.1") != std::string::npos; }));
    EXPECT_THAT(rules(), HasSubstr("2001:db8::/32"));
    EXPECT_THAT(rules(), Not(HasSubstr("127.0.0.1")));
}

} // namespace
} // namespace brindle::vardex
