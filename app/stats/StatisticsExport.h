// SPDX-License-Identifier: BSD-2-Clause
//
// A statistics sheet as a file or on paper. Main thread.
//
//     if (auto written = writeFile(path, pngOf(sheet)); !written) tell(written.error());
#pragma once

#include "app/stats/StatisticsSheet.h"

#include <QByteArray>
#include <QString>

#include <string>

#include <tl/expected.hpp>

class QPrinter;

namespace brindle {

/// Two pixels a point.
QByteArray pngOf(const StatisticsSheet& sheet);
QByteArray svgOf(const StatisticsSheet& sheet, const QString& title);

/// Replaces the file in one step. The error is a sentence for the user.
tl::expected<void, std::string> writeFile(const QString& path, const QByteArray& bytes);

/// Every page, or those that the printer's dialog was told. The error is a sentence for the user.
tl::expected<void, std::string> printSheet(const StatisticsSheet& sheet, QPrinter& printer);

} // namespace brindle
