// SPDX-License-Identifier: BSD-2-Clause
//
// The composition root of the viewer: makes the queues, the process-wide tables and registries, the
// daemon's connection and the windows' makers, hands them on, and runs the event loop. Everything
// is destroyed here in the reverse order: what other threads may still call goes before what it
// calls.

#include "app/AppContext.h"
#include "app/AppDelegate.h"
#include "app/exclusions/ExclusionsWindow.h"
#include "app/images/KVImageFX.h"
#include "app/images/PictureIcon.h"
#include "app/images/PictureStore.h"
#include "app/link/VDXVardexLink.h"
#include "app/lists/ListWindow.h"
#include "app/logs/VDXLogsWindowController.h"
#include "app/stats/StatisticsWindow.h"
#include "app/trace/Trace.h"
#include "app/trace/TracedApplication.h"
#include "core/annotate/PortNameTable.h"
#include "core/annotate/SystemUsers.h"
#include "core/exclusions/ExclusionList.h"
#include "core/exclusions/StoredExclusions.h"
#include "core/geo/NationsDatabase.h"
#include "core/geo/VDXNationInfo.h"
#include "core/log/Reconnection.h"
#include "core/log/ViewRefresh.h"
#include "platform/broadcast/BroadcastCenter.h"
#include "platform/connection/UnixSocket.h"
#include "platform/defaults/DefaultsFile.h"
#include "platform/identity/Accounts.h"
#include "platform/queue/main/MainQueue.h"
#include "platform/resolver/HostResolver.h"

#include <QFile>
#include <QLoggingCategory>
#include <QPalette>
#include <QTimer>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace brindle;

std::string environment(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? std::string() : value;
}

/// One call a line, so that lines of different threads do not mix.
void writeConsoleLine(const std::string& line) {
    const std::string text = line + '\n';
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fflush(stdout);
}

/// Empty where there is no such resource.
std::string resourceBytes(const char* name) {
    QFile file(QString::fromLatin1(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll().toStdString() : std::string();
}

/// The nation database and who answers from it, in one piece: look-ups on other threads hold it
/// until they are through.
struct Nations {
    Nations(double pixelRatio, std::string path, std::shared_ptr<platform::DispatchQueue> queue)
        : effects(pixelRatio), database(writeConsoleLine, effects, std::move(path)),
          info(database, effects, std::move(queue)) {}

    const KVImageFX effects;
    NationsDatabase database;
    VDXNationInfo info;
};

std::string nationsPath() {
    const std::string path = environment("BRINDLE_NATIONS_DB");
    return path.empty() ? kNationsDatabasePath : path;
}

/// A theme that leaves the colour of hints alone leaves it black, in dark windows too.
void makeHintsReadable() {
    const QPalette current = QApplication::palette();
    const bool black = current.color(QPalette::PlaceholderText).lightness() < 128;
    if (!PictureStore::isDark(current) || !black)
        return;
    QColor hint = current.color(QPalette::Text);
    hint.setAlpha(128);
    QPalette readable; // nothing else of it counts
    readable.setColor(QPalette::PlaceholderText, hint);
    QApplication::setPalette(readable);
}

} // namespace

int main(int argc, char** argv) {
    const Trace::Clock::time_point start = Trace::Clock::now();
    // As the process was started: the toolkit takes away the arguments it knows.
    const std::vector<std::string> arguments(argv, argv + argc);
    char noName[] = "brindle";
    char* ownArguments[] = {argc > 0 ? argv[0] : noName, nullptr};
    int ownCount = 1;

    const std::string tracePath = environment("BRINDLE_TRACE");
    const std::unique_ptr<Trace> trace =
        tracePath.empty() ? nullptr : Trace::open(tracePath, start);
    TracedApplication application(ownCount, ownArguments, trace.get());
    QApplication::setApplicationName(QStringLiteral("Brindle"));
    QLoggingCategory::setFilterRules(environment("BRINDLE_LOG") == "debug"
                                         ? QStringLiteral("brindle.*=true")
                                         : QStringLiteral("brindle.*.debug=false"));
    traceInstant(trace.get(), "application object made");

    const platform::Queues queues = platform::makeQueues(platform::makeMainQueue());
    const std::unique_ptr<platform::TimerService> timers = platform::makeMainTimerService();
    PictureStore pictures(queues.global, queues.main);
    makeHintsReadable();
    QApplication::setWindowIcon(pictureIcon(pictures, QStringLiteral("brindle")));
    platform::ResolverOptions resolverOptions;
    if (const std::string server = environment("BRINDLE_RESOLVER"); !server.empty()) {
        resolverOptions.server = server;
    }
    auto resolver = platform::makeHostResolver(queues.main, resolverOptions);
    if (!resolver) {
        qWarning("host names are not looked up: %s", resolver.error().c_str());
    }
    LogTables tables(platform::accountName);
    ViewControllers viewControllers;
    WindowControllers windowControllers;
    DefaultsExclusionStorage storedExclusions(
        platform::DefaultsFile(platform::DefaultsFile::standardPath()),
        platform::makeSerialQueue("exclusions"), queues.main);
    ExclusionList exclusions(storedExclusions,
                             [&viewControllers] { refreshViews(viewControllers); });

    const auto nations =
        std::make_shared<Nations>(application.devicePixelRatio(), nationsPath(), queues.nationInfo);

    AppContext context;
    context.queues = queues;
    context.timers = timers.get();
    context.viewControllers = &viewControllers;
    context.windowControllers = &windowControllers;
    context.tables = &tables;
    context.pictures = &pictures;
    context.exclusionTest = &exclusions;
    context.exclusions = &exclusions;
    context.console = writeConsoleLine;
    context.trace = trace.get();
    context.names = {.resolver = resolver ? resolver->get() : nullptr, .timers = timers.get()};
    context.picturesDirectory = environment("BRINDLE_PICTURES");
    context.helper = BrindleHelper::create(
        BrindleHelper::socketFactory(platform::daemonSocketPath()), queues.main, viewControllers,
        std::make_unique<LiveFeed>(queues, viewControllers, exclusions), writeConsoleLine);

    const Reconnection reconnection(
        *context.helper, *timers,
        {.daemonAnswers =
             [] { return platform::connectUnix(platform::daemonSocketPath()).has_value(); },
         .showWhatWasMissed =
             [&viewControllers, helper = context.helper.get()] {
                 showWhatWasMissed(viewControllers, *helper);
             }});

    context.tallies = {.queues = queues,
                       .helper = context.helper,
                       .exclusions = &exclusions,
                       .portNames = &tables.portNames,
                       .names = context.names,
                       .nationInfo = std::shared_ptr<VDXNationInfo>(nations, &nations->info)};

    const auto broadcasts = platform::makeBroadcastCenter(queues.main);
    broadcasts->own(VDXVardexLink::kBrindleName, {});
    VDXVardexLink link(*broadcasts, writeConsoleLine,
                       QCoreApplication::applicationDirPath().toStdString());
    const auto quitting = link.observeQuitting([] { QApplication::quit(); });
    context.link = &link;

    context.makeListWindow = [&context](const ListOpening& opening) {
        return makeListWindow(context, opening);
    };
    context.makeStatisticsWindow = [&context](StatisticsOpening opening) {
        return makeStatisticsWindow(context, std::move(opening));
    };
    context.makeExclusionsWindow = [&context, &exclusions] {
        return makeExclusionsWindow(context, exclusions);
    };

    StartupSteps steps;
    steps.loadPortNames = [&tables] {
        if (auto names = loadPortNames(resourceBytes(":/ports/ports.plist"))) {
            tables.portNames = PortNames(std::move(*names));
        }
    };
    steps.importNationsDB = [&nations] { nations->database.importNationsDB(); };
    steps.buildLocalUsers = [&tables, &nations] {
        tables.systemUserList = VDXSystemUserDB(VDXSystemUsers(), nations->effects).build();
    };
    steps.loadExclusions = [&exclusions] { exclusions.loadExclusions(); };
    steps.makeLogsWindow = [&context] {
        return std::make_shared<VDXLogsWindowController>(context);
    };

    AppDelegate delegate(arguments, context, std::move(steps));
    QTimer::singleShot(0, &delegate, &AppDelegate::applicationDidFinishLaunching);
    const int status = QApplication::exec();

    // Windows that closed are released by an event of their own; those still open go now.
    QCoreApplication::sendPostedEvents();
    windowControllers.clear();
    if (const auto connection = context.helper->standingConnection()) {
        connection->invalidate();
    }
    return status;
}
