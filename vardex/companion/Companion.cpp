// SPDX-License-Identifier: BSD-2-Clause
#include "vardex/companion/Companion.h"

#include <algorithm>
#include <cstdio>
#include <utility>

namespace brindle::vardex {
namespace {

using platform::BroadcastCenter;
using platform::UserInfo;

constexpr const char* kOwnName = "org.vardex.Vardex";
constexpr const char* kViewerName = "org.vardex.Brindle";
constexpr const char* kAddressesKey = "addresses";

std::vector<std::string> addressesOf(const UserInfo& userInfo) {
    const auto found = userInfo.find(kAddressesKey);
    return found == userInfo.end() ? std::vector<std::string>() : found->second;
}

} // namespace

Companion::Companion(BroadcastCenter& broadcasts, Keeper& keeper, BrindleProcess& viewer,
                     CompanionWindow window)
    : broadcasts_(broadcasts), keeper_(keeper), viewer_(viewer), window_(std::move(window)) {
    connect(&viewer_, &BrindleProcess::ended, this, &Companion::endWhenNobodyIsLeft);
    connect(&keeper_, &Keeper::changed, this, &Companion::listChanged);
}

void Companion::start(const std::vector<std::string>& texts) {
    // What others hand over or post may come as soon as the name is ours: everything is ready then.
    observations_.push_back(
        broadcasts_.receiveHandOvers(kOwnName, [this](const std::vector<std::string>& handed) {
            if (const auto arguments = Arguments::parse(handed)) {
                obeyOnceBegun(*arguments);
            }
        }));
    observations_.push_back(
        broadcasts_.observe("addAddressToVardexBlackList", [this](const UserInfo& userInfo) {
            blackList(addressesOf(userInfo));
        }));
    observations_.push_back(
        broadcasts_.observe("sendAddressesToVardex", [this](const UserInfo& userInfo) {
            if (const auto addresses = addressesOf(userInfo); begun_ && !addresses.empty()) {
                window_.offer(addresses);
            }
        }));
    observations_.push_back(broadcasts_.observeOwner(kViewerName, [this](bool isThere) {
        viewerIsOnBus_ = isThere;
        if (!isThere && begun_) {
            endWhenNobodyIsLeft();
        }
    }));
    broadcasts_.own(kOwnName, [this, texts](BroadcastCenter::Claim claim) {
        if (claim != BroadcastCenter::Claim::taken) {
            begin(texts);
            return;
        }
        broadcasts_.handOver(kOwnName, texts, [this](bool taken) {
            if (!taken) {
                std::fputs("vardex: another vardex runs, and does not answer\n", stderr);
            }
            emit ended(taken ? 0 : 1);
        });
    });
}

void Companion::begin(const std::vector<std::string>& texts) {
    begun_ = true;
    viewerIsOnBus_ = broadcasts_.hasOwner(kViewerName);
    keeper_.load();
    if (const auto arguments = Arguments::parse(texts)) {
        obey(*arguments);
    }
    for (const Arguments& arguments : std::exchange(waiting_, {})) {
        obey(arguments);
    }
}

void Companion::obeyOnceBegun(const Arguments& arguments) {
    // Others may see that the name is ours before we have heard of it.
    if (begun_) {
        obey(arguments);
    } else {
        waiting_.push_back(arguments);
    }
}

void Companion::obey(const Arguments& arguments) {
    if (!arguments.blackList.empty()) {
        blackList(arguments.blackList);
    }
    if (!arguments.hidden) {
        window_.present();
    }
    if (!arguments.byViewer) {
        openViewer();
    }
}

void Companion::openViewer() {
    if (isViewerRunning()) {
        return;
    }
    if (!viewer_.start()) {
        const QString problem = tr("Brindle cannot be started: %1").arg(viewer_.program());
        std::fprintf(stderr, "vardex: %s\n", qPrintable(problem));
        window_.tell(problem);
    }
}

void Companion::blackList(const std::vector<std::string>& addresses) {
    ReadBlocks read = blocksOfTexts(addresses);
    QString problem;
    if (const std::size_t count = read.notUnderstood.size(); count > 0) {
        problem = count == 1 ? tr("Left out: 1 text that is no address")
                             : tr("Left out: %1 texts that are no addresses").arg(count);
        std::fprintf(stderr, "vardex: %s\n", qPrintable(problem));
    }
    window_.tell(problem);
    if (!read.blocks.empty()) {
        asked_ = true;
        keeper_.add(std::move(read.blocks), Insistence::none);
    }
}

void Companion::listChanged() {
    if (asked_ && !keeper_.isBusy()) {
        asked_ = false;
        // Whoever asked for it believes that it is blocked now.
        const BlackList& list = keeper_.list();
        const bool allBlocked =
            keeper_.standing() == Keeper::Standing::applied &&
            std::all_of(list.begin(), list.end(), [this](const BlackListEntry& entry) {
                return keeper_.refusalOf(entry).empty();
            });
        if (!allBlocked && !window_.isVisible()) {
            window_.present();
        }
    }
    if (ending_) {
        endWhenNobodyIsLeft();
    }
}

void Companion::endWhenNobodyIsLeft() {
    ending_ = !window_.isVisible() && !isViewerRunning();
    if (ending_ && !keeper_.isBusy()) {
        emit ended(0);
    }
}

void Companion::announceQuitting() {
    if (std::exchange(begun_, false)) {
        broadcasts_.post("vardexIsQuitting", {});
    }
}

} // namespace brindle::vardex
