// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/sources/nflog/InterfaceNames.h"

#include <net/if.h>

namespace brindle::tallyd {

namespace {
constexpr std::int64_t kKeepMicros = 1'000'000;
// More indexes than a machine has interfaces at a time: the log is not what it seems, start afresh.
constexpr std::size_t kKnownLimit = 4096;
} // namespace

InterfaceNames::Lookup InterfaceNames::ofThisMachine() {
    return [](std::uint32_t index) {
        char name[IF_NAMESIZE] = "";
        return std::string(if_indextoname(index, name) ? name : "");
    };
}

std::string InterfaceNames::name(std::uint32_t index, std::int64_t timeMicros) {
    if (index == 0)
        return {};
    if (!lookup_)
        return "if" + std::to_string(index);

    const auto known = known_.find(index);
    if (known != known_.end()) {
        const std::int64_t asked = known->second.askedMicros;
        if (timeMicros >= asked && timeMicros - asked < kKeepMicros)
            return known->second.name;
    } else if (known_.size() >= kKnownLimit) {
        known_.clear();
    }
    std::string name = lookup_(index);
    if (name.empty())
        name = "if" + std::to_string(index);
    known_[index] = {name, timeMicros};
    return name;
}

} // namespace brindle::tallyd
