// SPDX-License-Identifier: BSD-2-Clause
#include "vardex/window/NationFinder.h"

#include "app/images/KVImageFX.h"
#include "core/geo/NationsDatabase.h"
#include "core/net/IpRange.h"

#include <utility>

namespace brindle::vardex {

struct NationFinder::Database {
    Database(std::string path, double pixelRatio)
        : effects(pixelRatio), nations([](const std::string&) {}, effects, std::move(path)) {
        nations.importNationsDB();
    }
    const KVImageFX effects;
    NationsDatabase nations;
};

NationFinder::NationFinder(std::string path, double pixelRatio,
                           const std::shared_ptr<platform::DispatchQueue>& worker,
                           std::shared_ptr<platform::DispatchQueue> main) {
    worker->async(
        [this, alive = alive_, main = std::move(main), path = std::move(path), pixelRatio] {
            auto database = std::make_shared<const Database>(path, pixelRatio);
            main->async([this, alive, database = std::move(database)]() mutable {
                if (*alive) {
                    database_ = std::move(database);
                    emit ready();
                }
            });
        });
}

NationFinder::~NationFinder() {
    *alive_ = false;
}

NationOfBlock NationFinder::find(const AddressBlock& block) const {
    if (!database_) {
        return {};
    }
    const auto number = ipv4Number(block.first());
    const VDXNationVisualizer* nation = number ? database_->nations.firstMatch(*number) : nullptr;
    if (nation == nullptr) {
        return {.name = tr("Unknown location"), .flag = {}};
    }
    return {.name = QString::fromStdString(nation->name), .flag = nation->flag};
}

} // namespace brindle::vardex
