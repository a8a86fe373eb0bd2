// SPDX-License-Identifier: BSD-2-Clause
#include "core/geo/NationsDatabase.h"

#include "core/net/IpRange.h"

#include <numeric>
#include <utility>

namespace brindle {

NationsDatabase::NationsDatabase(std::function<void(const std::string& line)> console,
                                 const ImageEffects& pictures, std::string path)
    : console_(std::move(console)), pictures_(pictures), path_(std::move(path)) {}

void NationsDatabase::importNationsDB() {
    auto lists = platform::readTextArrays(path_);
    if (!lists)
        console_("Error importing nations db");
    else if (*lists)
        replace(std::move(**lists));
    console_("imported " + std::to_string(nationsDatabase_.size()) + " nations");
}

void NationsDatabase::replace(platform::TextArrays lists) {
    NationBlockIndexBuilder blocks;
    blocks.reserve(
        std::accumulate(lists.begin(), lists.end(), std::size_t{0},
                        [](std::size_t sum, const auto& list) { return sum + list.texts.size(); }));
    nationsDatabase_.clear();
    nationsDatabase_.reserve(lists.size());
    for (auto& [key, texts] : lists) {
        const auto place = static_cast<std::uint32_t>(nationsDatabase_.size());
        for (std::size_t i = 0; i < texts.size(); ++i)
            if (const auto block = matchRange(texts[i])) // an empty text is no block either
                blocks.add(*block, place);
        nationsDatabase_.emplace_back(key, std::move(texts), pictures_);
    }
    index_ = std::move(blocks).build();
}

const VDXNationVisualizer* NationsDatabase::firstMatch(std::uint32_t address) const {
    const auto place = index_.find(address);
    return place ? &nationsDatabase_[*place] : nullptr;
}

} // namespace brindle
