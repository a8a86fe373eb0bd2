// SPDX-License-Identifier: BSD-2-Clause
#include "app/logs/LogsActions.h"

#include "app/WindowParts.h"

#include "app/images/PictureIcon.h"

#include <QKeySequence>
#include <QMenuBar>

namespace brindle {
namespace {

constexpr auto kToolTip = "brindle.toolTip";
constexpr auto kUnserved = "brindle.unserved";

} // namespace

LogsActions::LogsActions(QMainWindow* window, PictureStore& pictures)
    : QObject(window), exclusionMenu(new QMenu(tr("&Ignore"), window)),
      contextMenu(new QMenu(window)), periodGroup_(new QActionGroup(this)) {
    close = make(tr("&Close"), QKeySequence(tr("Ctrl+W")), tr("Close this window"));
    quit = make(tr("&Quit"), QKeySequence(tr("Ctrl+Q")), tr("Quit Brindle"));

    copySource = make(tr("Copy &Source Addresses"), QKeySequence(tr("Ctrl+Shift+C")),
                      tr("Copy the source address of each selected row"));
    copyDestination = make(tr("Copy &Destination Addresses"), QKeySequence(tr("Ctrl+Alt+C")),
                           tr("Copy the destination address of each selected row"));
    copyRows = make(tr("Copy &Rows"), QKeySequence::Copy, tr("Copy the selected rows as text"));
    selectAll = make(tr("Select &All"), QKeySequence::SelectAll, tr("Select every row"));
    find = make(tr("&Filter…"), QKeySequence::Find, tr("Go to the filter field"));

    const std::array<QString, 4> titles{tr("&Live"), tr("&Today"), tr("Last &7 Days"),
                                        tr("&Custom Period")};
    const std::array<QString, 4> tips{
        tr("Today's latest records, then new ones as they are logged"),
        tr("Every record since midnight"), tr("Every record of the last seven days"),
        tr("Every record between two dates")};
    for (std::size_t i = 0; i < periods.size(); ++i) {
        periods[i] = make(titles[i], QKeySequence(QStringLiteral("Ctrl+%1").arg(i + 1)), tips[i]);
        periods[i]->setCheckable(true);
        periodGroup_->addAction(periods[i]);
    }
    periods[0]->setChecked(true);
    stop = make(tr("&Stop"), QKeySequence(tr("Ctrl+.")),
                tr("Keep what has arrived and ask for no more"));
    stop->setEnabled(false);
    resolve = make(tr("Resolve &Host Names"), QKeySequence(tr("Ctrl+R")),
                   tr("Look up the host names of the selected rows"));

    passin = make(tr("Passed In"), QKeySequence(tr("Alt+1")),
                  tr("Addresses and ports of passed inbound traffic"));
    blockin = make(tr("Blocked In"), QKeySequence(tr("Alt+2")),
                   tr("Addresses and ports of blocked inbound traffic"));
    passout = make(tr("Passed Out"), QKeySequence(tr("Alt+3")),
                   tr("Addresses and ports of passed outbound traffic"));
    blockout = make(tr("Blocked Out"), QKeySequence(tr("Alt+4")),
                    tr("Addresses and ports of blocked outbound traffic"));
    passin->setIcon(pictureIcon(pictures, QStringLiteral("passeddown")));
    blockin->setIcon(pictureIcon(pictures, QStringLiteral("blockeddown")));
    passout->setIcon(pictureIcon(pictures, QStringLiteral("passedup")));
    blockout->setIcon(pictureIcon(pictures, QStringLiteral("blockedup")));

    blackListSource = make(tr("Black-List &Source Addresses"), QKeySequence(tr("Ctrl+B")),
                           tr("Hand the selected source addresses to the firewall's black list"));
    blackListDestination =
        make(tr("Black-List &Destination Addresses"), QKeySequence(tr("Ctrl+Shift+B")),
             tr("Hand the selected destination addresses to the firewall's black list"));
    exclusionsWindow = make(tr("E&xclusions…"), QKeySequence(tr("Ctrl+E")),
                            tr("Edit the list of hidden addresses, blocks and ports"));
    exclusionsWindow->setIcon(pictureIcon(pictures, QStringLiteral("exclusions")));
    exclusionsWindow->setIconText(tr("Exclusions"));
    help = make(tr("Brindle &Help"), QKeySequence::HelpContents, tr("Help about the log"));

    fillMenuBar(window);
    fillContextMenu();
    setSelected(false);
}

QAction* LogsActions::make(const QString& text, const QKeySequence& shortcut,
                           const QString& toolTip) {
    QAction* action = makeAction(this, text, shortcut, toolTip);
    action->setProperty(kToolTip, action->toolTip());
    return action;
}

void LogsActions::fillMenuBar(QMainWindow* window) {
    const auto add = [window](const QString& title, std::initializer_list<QAction*> actions) {
        QMenu* menu = window->menuBar()->addMenu(title);
        fillMenu(menu, actions);
        return menu;
    };
    add(tr("&File"), {close, nullptr, quit});
    add(tr("&Edit"), {copyRows, copySource, copyDestination, nullptr, selectAll, nullptr, find});
    add(tr("&View"),
        {periods[0], periods[1], periods[2], periods[3], nullptr, stop, nullptr, resolve});
    add(tr("&Lists"), {passin, blockin, passout, blockout});
    add(tr("Fire&wall"), {blackListSource, blackListDestination});
    QMenu* exclusions = add(tr("E&xclusions"), {});
    exclusions->addMenu(exclusionMenu);
    exclusions->addSeparator();
    exclusions->addAction(exclusionsWindow);
    add(tr("&Help"), {help});
}

void LogsActions::fillContextMenu() {
    contextMenu->setToolTipsVisible(true);
    exclusionMenu->setToolTipsVisible(true);
    contextMenu->addAction(resolve);
    contextMenu->addSeparator();
    contextMenu->addActions({copyRows, copySource, copyDestination});
    contextMenu->addSeparator();
    contextMenu->addMenu(exclusionMenu);
    contextMenu->addSeparator();
    contextMenu->addActions({blackListSource, blackListDestination});
}

void LogsActions::setSelected(bool rowsSelected) {
    for (QAction* action :
         {copySource, copyDestination, copyRows, resolve, blackListSource, blackListDestination}) {
        action->setEnabled(rowsSelected && !action->property(kUnserved).toBool());
    }
    exclusionMenu->menuAction()->setEnabled(rowsSelected);
}

void LogsActions::setServed(QAction* action, bool served) {
    action->setProperty(kUnserved, !served);
    action->setEnabled(served);
    const QString toolTip = action->property(kToolTip).toString();
    action->setToolTip(served ? toolTip : tr("%1: not available").arg(toolTip));
}

} // namespace brindle
