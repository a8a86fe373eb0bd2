// SPDX-License-Identifier: BSD-2-Clause
#include "app/stats/StatisticsExport.h"

#include <QBuffer>
#include <QImage>
#include <QPainter>
#include <QPrinter>
#include <QSaveFile>
#include <QSvgGenerator>

#include <algorithm>

#include <fmt/format.h>

namespace brindle {
namespace {

constexpr double kPixelsPerPoint = 2;
constexpr double kPointsPerInch = 72;

} // namespace

QByteArray pngOf(const StatisticsSheet& sheet) {
    QImage image((sheet.pictureSize() * kPixelsPerPoint).toSize(), QImage::Format_RGB32);
    image.setDevicePixelRatio(kPixelsPerPoint);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::TextAntialiasing);
    sheet.paintPicture(painter);
    painter.end();
    QByteArray bytes;
    QBuffer buffer(&bytes);
    image.save(&buffer, "PNG");
    return bytes;
}

QByteArray svgOf(const StatisticsSheet& sheet, const QString& title) {
    QByteArray bytes;
    QBuffer buffer(&bytes);
    QSvgGenerator generator;
    generator.setOutputDevice(&buffer);
    generator.setTitle(title);
    generator.setResolution(static_cast<int>(kPointsPerInch));
    generator.setSize(sheet.pictureSize().toSize());
    generator.setViewBox(QRectF(QPointF(0, 0), sheet.pictureSize()));
    QPainter painter(&generator);
    sheet.paintPicture(painter);
    painter.end();
    return bytes;
}

tl::expected<void, std::string> writeFile(const QString& path, const QByteArray& bytes) {
    QSaveFile file(path);
    if (file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() && file.commit())
        return {};
    return tl::unexpected(fmt::format("{} cannot be written: {}", path.toStdString(),
                                      file.errorString().toStdString()));
}

tl::expected<void, std::string> printSheet(const StatisticsSheet& sheet, QPrinter& printer) {
    QPainter painter;
    if (!painter.begin(&printer))
        return tl::unexpected(
            printer.outputFileName().isEmpty()
                ? fmt::format("The printer {} cannot be used", printer.printerName().toStdString())
                : fmt::format("{} cannot be written", printer.outputFileName().toStdString()));
    const double scale = printer.resolution() / kPointsPerInch;
    const QSizeF page = printer.pageRect(QPrinter::Point).size();
    const int pages = sheet.pages(page);
    // 0: no range was chosen.
    const int first = std::clamp(printer.fromPage(), 1, pages);
    const int last = printer.toPage() > 0 ? std::min(printer.toPage(), pages) : pages;
    painter.scale(scale, scale);
    for (int number = first; number <= last; ++number) {
        if (number > first)
            printer.newPage();
        sheet.paintPage(painter, page, number - 1);
    }
    if (!painter.end())
        return tl::unexpected(std::string("Printing did not come to its end"));
    return {};
}

} // namespace brindle
