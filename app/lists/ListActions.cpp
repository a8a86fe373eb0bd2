// SPDX-License-Identifier: BSD-2-Clause
#include "app/lists/ListActions.h"

#include "app/WindowParts.h"

#include <QKeySequence>
#include <QMenuBar>

namespace brindle {
namespace {

constexpr auto kToolTip = "brindle.toolTip";
constexpr auto kUnserved = "brindle.unserved";

} // namespace

ListActions::ListActions(QMainWindow* window)
    : QObject(window), menu_ignore_ip(new QMenu(tr("&Ignore"), window)),
      addressMenu(new QMenu(window)), portMenu(new QMenu(window)),
      periodGroup_(new QActionGroup(this)) {
    close = make(tr("&Close"), QKeySequence(tr("Ctrl+W")), tr("Close this window"));
    quit = make(tr("&Quit"), QKeySequence(tr("Ctrl+Q")), tr("Quit Brindle"));

    const std::array<QString, 3> titles{tr("Since &Boot"), tr("Last &Week"), tr("Last &Month")};
    const std::array<QString, 3> tips{tr("Count the records since this machine started"),
                                      tr("Count the records of the last week"),
                                      tr("Count the records of the last month")};
    for (std::size_t i = 0; i < periods.size(); ++i) {
        periods[i] = make(titles[i], QKeySequence(QStringLiteral("Ctrl+%1").arg(i + 1)), tips[i]);
        periods[i]->setCheckable(true);
        periodGroup_->addAction(periods[i]);
    }
    selectAll = make(tr("Select &All"), QKeySequence::SelectAll, tr("Select every row"));
    findAddress =
        make(tr("&Filter Addresses…"), QKeySequence::Find, tr("Go to the filter of the addresses"));
    findPort = make(tr("Filter &Ports…"), QKeySequence(tr("Ctrl+Shift+F")),
                    tr("Go to the filter of the ports"));

    statisticsOfAddress = make(tr("&Statistics"), QKeySequence(tr("Ctrl+I")),
                               tr("Show on which ports each selected address was counted"));
    resolve = make(tr("Resolve &Host Names"), QKeySequence(tr("Ctrl+R")),
                   tr("Look up the host names of the selected addresses"));
    copyAddresses = make(tr("&Copy Addresses"), QKeySequence::Copy,
                         tr("Copy the selected addresses, one a line"));
    sendToVardex = make(tr("Send to &Vardex"), QKeySequence(tr("Ctrl+B")),
                        tr("Hand the selected addresses to the firewall application"));
    statisticsOfPort = make(tr("&Statistics"), QKeySequence(tr("Ctrl+Shift+I")),
                            tr("Show which addresses were counted on each selected port"));
    ignorePort = make(tr("&Exclude Port"), QKeySequence(tr("Ctrl+Shift+E")),
                      tr("Hide the selected port from now on"));
    fillMenus(window);
    setSelected(false, false);
}

QAction* ListActions::make(const QString& text, const QKeySequence& shortcut,
                           const QString& toolTip) {
    QAction* action = makeAction(this, text, shortcut, toolTip);
    action->setProperty(kToolTip, action->toolTip());
    return action;
}

void ListActions::fillMenus(QMainWindow* window) {
    QMenuBar* bar = window->menuBar();
    fillMenu(bar->addMenu(tr("&File")), {close, nullptr, quit});
    fillMenu(bar->addMenu(tr("&Edit")),
             {copyAddresses, nullptr, selectAll, nullptr, findAddress, findPort});
    fillMenu(bar->addMenu(tr("&View")), {periods[0], periods[1], periods[2]});
    menu_ignore_ip->setToolTipsVisible(true);
    for (QMenu* menu : {bar->addMenu(tr("&Addresses")), addressMenu}) {
        fillMenu(menu, {statisticsOfAddress, resolve, nullptr, copyAddresses, nullptr,
                        menu_ignore_ip->menuAction(), sendToVardex});
    }
    for (QMenu* menu : {bar->addMenu(tr("&Ports")), portMenu}) {
        fillMenu(menu, {statisticsOfPort, nullptr, ignorePort});
    }
}

void ListActions::setSelected(bool addresses, bool ports) {
    const auto enable = [](QAction* action, bool selected) {
        action->setEnabled(selected && !action->property(kUnserved).toBool());
    };
    for (QAction* action : {statisticsOfAddress, resolve, copyAddresses, sendToVardex}) {
        enable(action, addresses);
    }
    for (QAction* action : {statisticsOfPort, ignorePort}) {
        enable(action, ports);
    }
    enable(menu_ignore_ip->menuAction(), addresses);
}

void ListActions::setServed(QAction* action, bool served) {
    action->setProperty(kUnserved, !served);
    const QString toolTip = action->property(kToolTip).toString();
    if (!toolTip.isEmpty()) {
        action->setToolTip(served ? toolTip : tr("%1: not available").arg(toolTip));
    }
}

} // namespace brindle
