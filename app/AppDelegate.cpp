// SPDX-License-Identifier: BSD-2-Clause
#include "app/AppDelegate.h"

#include "app/Alert.h"
#include "app/images/PictureStore.h"
#include "app/trace/Trace.h"

#include <QApplication>
#include <QPointer>

namespace brindle {
namespace {

/// How long a program without windows waits to learn whether it must still explain a failure.
constexpr int kOutcomeMs = 5000;

constexpr int kAlertPictureSize = 64;

constexpr auto kCannotConnect =
    "Brindle is unable to connect to tallyd. This usually happens when tallyd is not running or "
    "not "
    "up to date.\nTo fix this issue please install/update Vardex Boot Scripts and retry.\n\nTo "
    "install Vardex Boot Scripts:\n\n- Open Vardex\n- Select 'Status' from the left column\n- "
    "Click "
    "'Install Boot Scripts'  \n\nClick the button below to dismiss this alert and quit "
    "Brindle.\n\n\n\nError:\n";

} // namespace

AppDelegate::AppDelegate(std::vector<std::string> arguments, AppContext& context,
                         StartupSteps steps)
    : arguments_(std::move(arguments)), context_(context), steps_(std::move(steps)) {
    // The toolkit's own ways to end the program come at the wrong moment, such as between the logs
    // window and the alert that explains why it closed.
    QGuiApplication::setQuitOnLastWindowClosed(false);
    QCoreApplication::setQuitLockEnabled(false);
    connect(qApp, &QGuiApplication::lastWindowClosed, this, &AppDelegate::lastWindowClosed);
    patience_.setSingleShot(true);
    connect(&patience_, &QTimer::timeout, this, [this] { end(0); });
}

bool AppDelegate::startedByVardex(const std::vector<std::string>& arguments) {
    return arguments.size() == 2 && arguments[1] == "vardex";
}

void AppDelegate::applicationDidFinishLaunching() {
    context_.console("Starting Brindle...");
    if (!startedByVardex(arguments_)) {
        alerting_ = true;
        runModal({.messageText = QStringLiteral("Error"),
                  .informativeText =
                      QStringLiteral("cannot start Brindle manually, please use Vardex app"),
                  .icon = {}});
        end(0);
        return;
    }

    const QPointer<AppDelegate> self(this);
    const std::shared_ptr<platform::DispatchQueue> main = context_.queues.main;
    VDXStartup startup(context_, steps_);
    // The outcome may be on its way before the sequence is through: it waits in the main queue.
    versionPending_ = true;
    const VDXStartup::Request request = startup.startUp({
        .answered =
            [self, main] {
                main->async([self] {
                    if (self) {
                        self->versionAnswered();
                    }
                });
            },
        .failed =
            [self, main](const std::string& error) {
                main->async([self, error] {
                    if (self) {
                        self->startupFailed(error);
                    }
                });
            },
    });
    if (request == VDXStartup::Request::skipped) {
        versionPending_ = false;
    }
    if (steps_.loadExclusions) {
        const TraceSpan span(context_.trace, "load exclusions");
        steps_.loadExclusions();
    }
}

void AppDelegate::lastWindowClosed() {
    if (alerting_) {
        return; // what follows the alert ends the program
    }
    if (versionPending_) {
        // Without a daemon the user must be told, also when he was faster at closing the window.
        patience_.start(kOutcomeMs);
    } else if (applicationShouldTerminateAfterLastWindowClosed()) {
        end(0);
    }
}

void AppDelegate::versionAnswered() {
    versionPending_ = false;
    if (patience_.isActive()) {
        end(0);
    }
}

void AppDelegate::startupFailed(const std::string& error) {
    if (ended_) {
        return;
    }
    versionPending_ = false;
    patience_.stop();
    alerting_ = true;
    const Alert alert{
        .messageText = QStringLiteral("Warning: Can't start Brindle"),
        .informativeText = QString::fromUtf8(kCannotConnect) + QString::fromStdString(error),
        .icon = context_.pictures->imageNow(Picture::named("vardex"),
                                            QSize(kAlertPictureSize, kAlertPictureSize),
                                            qApp->devicePixelRatio(), QApplication::palette())};
    if (const auto logs = context_.windowControllers->find("logs")) {
        logs->close();
    }
    runModal(alert);
    end(1);
}

void AppDelegate::end(int status) {
    if (!ended_) {
        ended_ = true;
        QCoreApplication::exit(status);
    }
}

} // namespace brindle
