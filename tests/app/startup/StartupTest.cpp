// SPDX-License-Identifier: BSD-2-Clause
#include "app/AppDelegate.h"
#include "app/BootTime.h"
#include "tests/app/support/LogsWindowTest.h"

#include <QAbstractButton>
#include <QApplication>
#include <QLabel>
#include <QMessageBox>
#include <QTimer>

#include <sstream>

namespace brindle::test {
namespace {

using Texts = std::vector<std::string>;

TEST(BootTime, IsTheNumberOfTheBtimeLineAndZeroWithoutOne) {
    for (const auto& [text, seconds] : std::vector<std::pair<std::string, double>>{
             {"cpu 1 2 3\nbtime 1700000123\nprocesses 5\n", 1700000123},
             {"xbtime 5\nbtime soon\n", 0},
             {"", 0}}) {
        std::istringstream statistics(text);
        EXPECT_EQ(bootTimeFromStatistics(statistics), seconds) << text;
    }
}

TEST(LaunchCheck, TakesExactlyTheOneArgument) {
    EXPECT_TRUE(AppDelegate::startedByVardex({"brindle", "vardex"}));
    for (const Texts& arguments :
         {Texts{}, Texts{"brindle"}, Texts{"brindle", "Vardex"}, Texts{"brindle", "vardex "},
          Texts{"brindle", "vardex", "vardex"}, Texts{"brindle", "-style", "vardex"}}) {
        EXPECT_FALSE(AppDelegate::startedByVardex(arguments)) << arguments.size();
    }
}

/// Runs the application's event loop over a fake daemon, as main does.
class StartupTest : public LogsWindowTest {
  protected:
    struct ShownAlert {
        QString message;
        QString informative;
        bool logsWindowVisible = false;
    };

    /// `during` runs once the sequence is through. Alerts are noted and dismissed.
    int run(Texts arguments, std::function<void()> during) {
        StartupSteps steps;
        steps.loadPortNames = [this] { order.push_back("ports"); };
        steps.importNationsDB = [this] { order.push_back("nations"); };
        steps.buildLocalUsers = [this] { order.push_back("users"); };
        steps.makeLogsWindow = [this] {
            order.push_back("logs");
            return controller = std::make_shared<VDXLogsWindowController>(context);
        };
        steps.loadExclusions = [this] { order.push_back("exclusions"); };
        AppDelegate delegate(std::move(arguments), context, std::move(steps));
        QTimer dismisser;
        QObject::connect(&dismisser, &QTimer::timeout, [this] {
            if (auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget())) {
                alerts.push_back({box->text(), box->informativeText(),
                                  controller && controller->window()->isVisible()});
                QTest::mouseClick(box->button(QMessageBox::Ok), Qt::LeftButton);
            }
        });
        dismisser.start(50);
        QTimer::singleShot(0, [&] {
            delegate.applicationDidFinishLaunching();
            during();
        });
        return QApplication::exec();
    }

    Texts order;
    std::vector<ShownAlert> alerts;
};

TEST_F(StartupTest, WrongArgumentsAreExplainedAndNothingElseHappens) {
    EXPECT_EQ(run({"brindle"}, [] {}), 0);
    ASSERT_EQ(alerts.size(), 1u);
    EXPECT_EQ(alerts[0].message, "Error");
    EXPECT_EQ(alerts[0].informative, "cannot start Brindle manually, please use Vardex app");
    EXPECT_EQ(console, Texts{"Starting Brindle..."});
    EXPECT_TRUE(order.empty() && daemon.messages.empty() && daemon.queries.empty());
}

TEST_F(StartupTest, SequenceKeepsItsOrderAndDoesNotWaitForTheVersion) {
    const int status = run({"brindle", "vardex"}, [this] {
        EXPECT_EQ(order, (Texts{"ports", "nations", "users", "logs", "exclusions"}));
        EXPECT_EQ(daemon.messages, (Texts{"getVersionWithReply:", "startSendingLog"}));
        EXPECT_GT(context.periods.bootEpoch, 0);
        EXPECT_EQ(context.periods.listsStartEpoch, context.periods.bootEpoch);
        EXPECT_EQ(windowControllers.find("logs"), controller);
        daemon.answerVersion("7.1");
        controller->window()->close();
    });
    EXPECT_EQ(status, 0);
    EXPECT_EQ(console, (Texts{"Starting Brindle...", "Runtime tallyd version: 7.1"}));
    EXPECT_TRUE(alerts.empty());
}

TEST_F(StartupTest, FailureClosesTheLogsWindowThenAlertsAndEndsWithOne) {
    const std::string error = "no <b>daemon</b> & no socket";
    EXPECT_EQ(run({"brindle", "vardex"}, [&] { daemon.failVersion(error); }), 1);
    ASSERT_EQ(alerts.size(), 1u);
    EXPECT_FALSE(alerts[0].logsWindowVisible);
    EXPECT_EQ(alerts[0].message, "Warning: Can't start Brindle");
    EXPECT_TRUE(alerts[0].informative.startsWith("Brindle is unable to connect to tallyd. "));
    EXPECT_TRUE(alerts[0].informative.contains("- Click 'Install Boot Scripts'  \n\n"));
    EXPECT_TRUE(
        alerts[0].informative.endsWith("Brindle.\n\n\n\nError:\n" + QString::fromStdString(error)));
}

TEST_F(StartupTest, FailureIsExplainedAlsoWhenTheUserClosedTheWindowBefore) {
    EXPECT_EQ(run({"brindle", "vardex"},
                  [&] {
                      controller->window()->close();
                      QTimer::singleShot(100, [this] { daemon.failVersion("gone"); });
                  }),
              1);
    EXPECT_EQ(alerts.size(), 1u);
}

} // namespace
} // namespace brindle::test
