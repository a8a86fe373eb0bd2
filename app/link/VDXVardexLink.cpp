// SPDX-License-Identifier: BSD-2-Clause
#include "app/link/VDXVardexLink.h"

#include <QProcess>
#include <QString>
#include <QStringList>

#include <algorithm>
#include <iterator>
#include <utility>

namespace brindle {
namespace {

constexpr std::size_t kLevelsUp = 3;

} // namespace

VDXVardexLink::VDXVardexLink(platform::BroadcastCenter& broadcasts, Console console,
                             std::string bundleLocation, Launch launch)
    : broadcasts_(broadcasts), console_(std::move(console)),
      bundleLocation_(std::move(bundleLocation)), launch_(std::move(launch)) {}

void VDXVardexLink::blackListAddresses(std::vector<std::string> addresses) {
    std::sort(addresses.begin(), addresses.end());
    addresses.erase(std::unique(addresses.begin(), addresses.end()), addresses.end());
    if (isFirewallAppRunning()) {
        console_("add " + std::to_string(addresses.size()) + " addresses to Vardex Black List...");
        broadcasts_.post("addAddressToVardexBlackList", {{"addresses", std::move(addresses)}});
    } else if (const auto program = vardexProgram(bundleLocation_)) {
        std::vector<std::string> arguments{"doNotShowMainWindowOnStartup", "blacklist"};
        std::move(addresses.begin(), addresses.end(), std::back_inserter(arguments));
        launch_(*program, arguments);
    }
}

void VDXVardexLink::sendAddresses(std::vector<std::string> addresses) {
    broadcasts_.post("sendAddressesToVardex", {{"addresses", std::move(addresses)}});
}

bool VDXVardexLink::isFirewallAppRunning() const {
    return broadcasts_.hasOwner(kVardexName);
}

std::unique_ptr<platform::Observation>
VDXVardexLink::observeQuitting(std::function<void()> terminate) const {
    return broadcasts_.observe("vardexIsQuitting", [terminate = std::move(terminate)](
                                                       const platform::UserInfo&) { terminate(); });
}

std::optional<std::string> VDXVardexLink::vardexProgram(std::string_view bundleLocation) {
    if (!bundleLocation.starts_with('/')) {
        return std::nullopt;
    }
    std::vector<std::string_view> levels;
    while (!bundleLocation.empty()) {
        const auto end = std::min(bundleLocation.find('/'), bundleLocation.size());
        if (end > 0) {
            levels.push_back(bundleLocation.substr(0, end));
        }
        bundleLocation.remove_prefix(std::min(end + 1, bundleLocation.size()));
    }
    if (levels.size() < kLevelsUp) {
        return std::nullopt;
    }
    levels.resize(levels.size() - kLevelsUp);
    std::string program;
    for (const std::string_view level : levels) {
        program.append("/").append(level);
    }
    return program + "/vardex";
}

void VDXVardexLink::startDetached(const std::string& program,
                                  const std::vector<std::string>& arguments) {
    QStringList list;
    for (const std::string& argument : arguments) {
        list.append(QString::fromStdString(argument));
    }
    QProcess::startDetached(QString::fromStdString(program), list);
}

} // namespace brindle
