// SPDX-License-Identifier: BSD-2-Clause
#include "app/exclusions/ExclusionWording.h"

#include "core/exclusions/ExclusionFromText.h"
#include "core/net/DecimalText.h"
#include "core/net/IpRange.h"

#include <QCoreApplication>

#include <variant>

namespace brindle {
namespace {

constexpr std::int64_t kLastPort = 65535;

QString tr(const char* text) {
    return QCoreApplication::translate("ExclusionsWindow", text);
}

/// The one spelling in which records carry an address; empty when there is none.
std::string recordSpelling(const std::string& text) {
    if (const auto address = IpAddress::parse(text)) {
        return address->text();
    }
    const auto number = ipv4NumberLoose(text);
    return number ? addressFromNumber(*number).text() : std::string();
}

QString describeAddress(const VDXExclusion& exclusion) {
    const QString text = QString::fromStdString(exclusion.exclusion);
    const std::string spelling = recordSpelling(exclusion.exclusion);
    if (spelling.empty() || spelling == exclusion.exclusion) {
        return tr("Address %1, %2").arg(text, familyText(exclusion));
    }
    return tr("Address %1, %2; records spell it %3 and stay visible")
        .arg(text, familyText(exclusion), QString::fromStdString(spelling));
}

QString describePort(const VDXExclusion& exclusion) {
    const QString text = QString::fromStdString(exclusion.exclusion);
    const auto number = decimalInteger(exclusion.exclusion);
    if (number && 0 <= *number && *number <= kLastPort) {
        return tr("Port %1, source or destination").arg(text);
    }
    return tr("Port %1; ports end at %2, so this hides nothing").arg(text).arg(kLastPort);
}

} // namespace

QString typeText(const VDXExclusion& exclusion) {
    if (exclusion.type == "ip") {
        return tr("Address");
    }
    if (exclusion.type == "cidr") {
        return tr("Block");
    }
    return exclusion.type == "port" ? tr("Port") : QString::fromStdString(exclusion.type);
}

QString familyText(const VDXExclusion& exclusion) {
    return exclusion.type == "port" ? tr("any") : QStringLiteral("IPv%1").arg(exclusion.versionIP);
}

QString describe(const VDXExclusion& exclusion) {
    if (exclusion.type == "ip") {
        return describeAddress(exclusion);
    }
    if (exclusion.type == "port") {
        return describePort(exclusion);
    }
    const QString text = QString::fromStdString(exclusion.exclusion);
    if (exclusion.type != "cidr") {
        return tr("%1, of an unknown kind; hides nothing").arg(text);
    }
    return tr("Block %1, %2, from %3 to %4")
        .arg(text, familyText(exclusion), QString::fromStdString(exclusion.lrange),
             QString::fromStdString(exclusion.hrange));
}

QString previewText(std::string_view text) {
    const ExclusionFromText made = exclusionFromText(text);
    const auto* exclusion = std::get_if<VDXExclusion>(&made);
    return exclusion ? describe(*exclusion) : QString();
}

} // namespace brindle
