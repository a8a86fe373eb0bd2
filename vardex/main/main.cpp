// SPDX-License-Identifier: BSD-2-Clause
//
// The composition root of the companion: makes the queues, the bus, the keeper of the black list
// and the window, and runs the event loop.

#include "app/images/PictureStore.h"
#include "platform/broadcast/BroadcastCenter.h"
#include "platform/queue/main/MainQueue.h"
#include "vardex/companion/Applier.h"
#include "vardex/companion/BrindleProcess.h"
#include "vardex/companion/Companion.h"
#include "vardex/companion/EndSignals.h"
#include "vardex/companion/Keeper.h"
#include "vardex/window/BlackListWindow.h"
#include "vardex/window/NationFinder.h"

#include <QApplication>
#include <QLoggingCategory>
#include <QTimer>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

using namespace brindle;
using namespace brindle::vardex;

constexpr int kWrongUsage = 2;

constexpr const char* kUsage =
    "usage: vardex [doNotShowMainWindowOnStartup] [blacklist ADDRESS...]\n"
    "Keeps a black list of addresses in the packet filter, and opens the viewer of its log.\n"
    "  doNotShowMainWindowOnStartup  no window at first\n"
    "  blacklist ADDRESS...          puts addresses on the list; the viewer is not opened\n"
    "A second vardex hands its arguments to the one that runs, and ends.\n";

std::string environment(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? std::string() : value;
}

std::string nationsPath(const QString& directory) {
    return BrindleProcess::environmentFor(directory, QProcessEnvironment::systemEnvironment())
        .value(QStringLiteral("BRINDLE_NATIONS_DB"))
        .toStdString();
}

} // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> texts(argv + (argc > 0 ? 1 : 0), argv + argc);
    if (texts.size() == 1 && (texts[0] == "--help" || texts[0] == "-h")) {
        std::fputs(kUsage, stdout);
        return 0;
    }
    if (!Arguments::parse(texts)) {
        std::fputs(kUsage, stderr);
        return kWrongUsage;
    }
    // An address must not become an option of the toolkit's.
    int ownCount = 1;
    QApplication application(ownCount, argv);
    QApplication::setApplicationName(QStringLiteral("Vardex"));
    QApplication::setDesktopFileName(QStringLiteral("vardex"));
    QApplication::setQuitOnLastWindowClosed(false);
    QCoreApplication::setQuitLockEnabled(false);
    QLoggingCategory::setFilterRules(environment("BRINDLE_LOG") == "debug"
                                         ? QStringLiteral("brindle.*=true")
                                         : QStringLiteral("brindle.*.debug=false"));

    const QString directory = QCoreApplication::applicationDirPath();
    const platform::Queues queues = platform::makeQueues(platform::makeMainQueue());
    const auto broadcasts = platform::makeBroadcastCenter(queues.main);
    PictureStore pictures(queues.global, queues.main);
    Keeper keeper(BlackListFile(BlackListFile::standardPath()), Applier::commandFor(directory),
                  platform::makeSerialQueue("blacklist"), queues.main);
    BrindleProcess viewer(directory);
    NationFinder nations(nationsPath(directory), application.devicePixelRatio(), queues.global,
                         queues.main);
    BlackListWindow window(keeper, nations, pictures,
                           QString::fromStdString(environment("BRINDLE_PICTURES")));
    Companion companion(*broadcasts, keeper, viewer,
                        {.present = [&window] { window.present(); },
                         .isVisible = [&window] { return window.isVisible(); },
                         .offer = [&window](const auto& addresses) { window.offer(addresses); },
                         .tell = [&window](const QString& problem) { window.tell(problem); }});
    QObject::connect(&companion, &Companion::ended, &application,
                     [](int status) { QCoreApplication::exit(status); });
    QObject::connect(&window, &BlackListWindow::viewerWanted, &companion, &Companion::openViewer);
    QObject::connect(&window, &BlackListWindow::quitWanted, &application,
                     [] { QCoreApplication::exit(0); });
    QObject::connect(&window, &BlackListWindow::closed, &companion,
                     &Companion::endWhenNobodyIsLeft);
    const EndSignals endSignals([] { QCoreApplication::exit(0); });

    QTimer::singleShot(0, &companion, [&companion, &texts] { companion.start(texts); });
    const int status = QApplication::exec();
    companion.announceQuitting();
    return status;
}
