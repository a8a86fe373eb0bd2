// SPDX-License-Identifier: BSD-2-Clause
#include "app/stats/StatisticsActions.h"

#include "app/WindowParts.h"

#include <QKeySequence>
#include <QMenuBar>

namespace brindle {

StatisticsActions::StatisticsActions(QMainWindow* window)
    : QObject(window), tableMenu(new QMenu(window)) {
    savePng =
        make(tr("Save as &PNG…"), QKeySequence::Save, tr("Save chart and table as a picture"));
    saveSvg = make(tr("Save as &SVG…"), QKeySequence(tr("Ctrl+Shift+S")),
                   tr("Save chart and table as a drawing that can be enlarged"));
    saveCsv = make(tr("Save as &CSV…"), QKeySequence(tr("Ctrl+Alt+S")),
                   tr("Save the table as comma-separated values"));
    print = make(tr("P&rint…"), QKeySequence::Print, tr("Print chart and table"));
    close = make(tr("C&lose"), QKeySequence(tr("Ctrl+W")), tr("Close this window"));
    quit = make(tr("&Quit"), QKeySequence(tr("Ctrl+Q")), tr("Quit Brindle"));
    copy = make(tr("&Copy"), QKeySequence::Copy,
                tr("Copy the selected rows; without a selection, all of them"));
    selectAll = make(tr("Select &All"), QKeySequence::SelectAll, tr("Select every row"));
    sortAsChart = make(tr("Sort as in the &Chart"), QKeySequence(tr("Ctrl+0")),
                       tr("Put the rows in the order of the slices"));
    fillMenus(window);
}

QAction* StatisticsActions::make(const QString& text, const QKeySequence& shortcut,
                                 const QString& toolTip) {
    return makeAction(this, text, shortcut, toolTip);
}

void StatisticsActions::fillMenus(QMainWindow* window) {
    QMenuBar* bar = window->menuBar();
    fillMenu(bar->addMenu(tr("&File")),
             {savePng, saveSvg, saveCsv, nullptr, print, nullptr, close, quit});
    fillMenu(bar->addMenu(tr("&Edit")), {copy, nullptr, selectAll});
    fillMenu(bar->addMenu(tr("&View")), {sortAsChart});
    fillMenu(tableMenu, {copy, nullptr, selectAll, nullptr, sortAsChart});
}

} // namespace brindle
