// SPDX-License-Identifier: BSD-2-Clause
#include "core/log/Views.h"

namespace brindle {

void ViewControllers::set(const std::string& name, std::shared_ptr<ViewEntry> entry) {
    remove(name);
    auto changed = std::make_shared<Entries>(*snapshot());
    (*changed)[name] = std::move(entry);
    const std::lock_guard lock(mutex_);
    entries_ = std::move(changed);
}

void ViewControllers::remove(const std::string& name) {
    const auto current = snapshot();
    const auto found = current->find(name);
    if (found == current->end())
        return;
    // Hand-offs that are still on their way hold the entry and find nobody.
    found->second->logs = nullptr;
    found->second->list = nullptr;
    found->second->exclusions = nullptr;
    found->second->needrealtime = false;
    auto changed = std::make_shared<Entries>(*current);
    changed->erase(name);
    const std::lock_guard lock(mutex_);
    entries_ = std::move(changed);
}

std::shared_ptr<ViewEntry> ViewControllers::find(const std::string& name) const {
    const auto current = snapshot();
    const auto found = current->find(name);
    return found == current->end() ? nullptr : found->second;
}

std::shared_ptr<const ViewControllers::Entries> ViewControllers::snapshot() const {
    const std::lock_guard lock(mutex_);
    return entries_;
}

} // namespace brindle
