// SPDX-License-Identifier: BSD-2-Clause
#include "vardex/companion/Keeper.h"

#include "vardex/guard/AddressGuard.h"
#include "vardex/guard/MachineAddresses.h"

#include <algorithm>
#include <ctime>
#include <utility>

namespace brindle::vardex {
namespace {

/// What the helper will refuse as well; known here without any right.
std::map<std::string, std::string> refusedOf(const BlackList& list) {
    std::map<std::string, std::string> refused;
    const MachineAddresses machine = MachineAddresses::current();
    for (const BlackListEntry& entry : list) {
        if (entry.insistence == Insistence::none) {
            if (auto reason = reasonToRefuse(entry.block, machine)) {
                refused.emplace(entry.block.text(), std::move(*reason));
            }
        }
    }
    return refused;
}

} // namespace

Keeper::Keeper(BlackListFile file, QStringList applyCommand,
               std::shared_ptr<platform::DispatchQueue> worker,
               std::shared_ptr<platform::DispatchQueue> main)
    : file_(std::move(file)), worker_(std::move(worker)), main_(std::move(main)),
      applier_(std::move(applyCommand)) {
    connect(&applier_, &Applier::finished, this, &Keeper::applied);
}

Keeper::~Keeper() {
    *alive_ = false;
    worker_->sync([] {}); // what was asked for is on the disk
}

std::string Keeper::refusalOf(const BlackListEntry& entry) const {
    if (refused_.empty() || entry.insistence == Insistence::insisted) {
        return {};
    }
    const auto found = refused_.find(entry.block.text());
    return found == refused_.end() ? std::string() : found->second;
}

bool Keeper::isBlocked(const BlackListEntry& entry) const {
    return std::binary_search(blocked_.begin(), blocked_.end(), entry.block);
}

void Keeper::load() {
    ++changing_;
    worker_->async([this, alive = alive_, file = file_, main = main_] {
        Checked checked{file.load(), {}};
        checked.refused = refusedOf(checked.state.list);
        main->async([this, alive, checked = std::move(checked)]() mutable {
            if (*alive) {
                take(std::move(checked), true);
            }
        });
    });
}

void Keeper::add(std::vector<AddressBlock> blocks, Insistence insistence) {
    change([blocks = std::move(blocks), insistence](BlackList& list) {
        addBlocks(list, blocks, std::time(nullptr), insistence);
    });
}

void Keeper::remove(std::vector<AddressBlock> blocks) {
    change([blocks = std::move(blocks)](BlackList& list) { removeBlocks(list, blocks); });
}

void Keeper::insist(std::vector<AddressBlock> blocks) {
    add(std::move(blocks), Insistence::insisted);
}

void Keeper::change(std::function<void(BlackList&)> change) {
    ++changing_;
    worker_->async([this, alive = alive_, file = file_, main = main_, change = std::move(change)] {
        Checked checked{file.update(change), {}};
        checked.refused = refusedOf(checked.state.list);
        main->async([this, alive, checked = std::move(checked)]() mutable {
            if (*alive) {
                take(std::move(checked), false);
            }
        });
    });
}

void Keeper::take(Checked checked, bool isLoad) {
    --changing_;
    const bool isNew = checked.state.list != list_;
    list_ = std::move(checked.state.list);
    refused_ = std::move(checked.refused);
    // A warning stays until the user had the time to see it: a file is set aside only once.
    if (!checked.state.warning.empty()) {
        warning_ = QString::fromStdString(checked.state.warning);
    }
    if (isLoad ? !list_.empty() : isNew) {
        apply();
    } else {
        emit changed();
    }
}

void Keeper::apply() {
    applyAgain_ = applier_.isRunning();
    if (!applyAgain_) {
        standing_ = Standing::applying;
        reason_.clear();
        given_.clear();
        for (const BlackListEntry& entry : list_) {
            given_.push_back(entry.block);
        }
        applier_.apply(QByteArray::fromStdString(applyText(list_)));
    }
    emit changed();
}

void Keeper::applied(const ApplyOutcome& outcome) {
    if (outcome.applied) {
        blocked_ = std::move(given_);
        std::erase_if(blocked_, [&outcome](const AddressBlock& block) {
            return outcome.refused.contains(block.text());
        });
        std::sort(blocked_.begin(), blocked_.end());
    }
    if (applyAgain_ && outcome.applied) {
        apply();
        return;
    }
    applyAgain_ = false;
    standing_ = outcome.applied ? Standing::applied : Standing::notApplied;
    reason_ = outcome.reason;
    if (outcome.applied) {
        refused_ = outcome.refused;
    }
    emit changed();
}

} // namespace brindle::vardex
