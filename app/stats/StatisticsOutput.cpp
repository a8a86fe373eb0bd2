// SPDX-License-Identifier: BSD-2-Clause
#include "app/stats/StatisticsOutput.h"

#include "app/Alert.h"
#include "app/stats/StatisticsExport.h"
#include "app/stats/StatisticsWording.h"
#include "app/tallies/TallyExport.h"

#include <QDir>
#include <QFileDialog>
#include <QPrintDialog>
#include <QPrinter>
#include <QStandardPaths>

#include <utility>

namespace brindle {
namespace {

/// Where people keep what they save, if there is such a place.
QString documentsFolder() {
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
    return QDir(folder).exists() ? folder : QDir::homePath();
}

} // namespace

StatisticsOutput::StatisticsOutput(QWidget* window, StatisticsSheetContent content)
    : QObject(window), window_(window), content_(std::move(content)) {}

StatisticsSheet StatisticsOutput::sheet() const {
    return StatisticsSheet(content_);
}

QByteArray StatisticsOutput::png() const {
    return pngOf(sheet());
}

QByteArray StatisticsOutput::svg() const {
    return svgOf(sheet(), content_.caption);
}

QByteArray StatisticsOutput::csv() const {
    return QByteArray::fromStdString(tallyCsv(content_.rows, content_.columns));
}

void StatisticsOutput::savePng() {
    save(tr("Save as PNG"), tr("PNG pictures (*.png)"), QStringLiteral("png"),
         &StatisticsOutput::png);
}

void StatisticsOutput::saveSvg() {
    save(tr("Save as SVG"), tr("SVG drawings (*.svg)"), QStringLiteral("svg"),
         &StatisticsOutput::svg);
}

void StatisticsOutput::saveCsv() {
    save(tr("Save as CSV"), tr("Comma-separated values (*.csv)"), QStringLiteral("csv"),
         &StatisticsOutput::csv);
}

void StatisticsOutput::save(const QString& title, const QString& filter, const QString& suffix,
                            Bytes bytes) {
    auto* dialog = new QFileDialog(window_, title, documentsFolder(), filter);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setAcceptMode(QFileDialog::AcceptSave);
    dialog->setDefaultSuffix(suffix);
    dialog->selectFile(QStringLiteral("%1.%2").arg(fileNameOf(content_.caption), suffix));
    connect(dialog, &QFileDialog::fileSelected, this, [this, bytes](const QString& path) {
        if (const auto written = writeFile(path, (this->*bytes)()); !written) {
            tell(tr("The statistics could not be saved"), written.error());
        }
    });
    dialog->open();
}

void StatisticsOutput::print() {
    auto* dialog = new QPrintDialog(window_);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setOption(QAbstractPrintDialog::PrintPageRange);
    dialog->printer()->setDocName(fileNameOf(content_.caption));
    connect(dialog, qOverload<QPrinter*>(&QPrintDialog::accepted), this, [this](QPrinter* printer) {
        if (const auto printed = printSheet(sheet(), *printer); !printed) {
            tell(tr("The statistics could not be printed"), printed.error());
        }
    });
    dialog->open();
}

void StatisticsOutput::tell(const QString& messageText, const std::string& reason) const {
    runModal({.messageText = messageText,
              .informativeText = QString::fromStdString(reason),
              .icon = {}});
}

} // namespace brindle
