// SPDX-License-Identifier: BSD-2-Clause
//
// What a source is asked to be, read from the text that a user configured. Values; made and taken
// apart on the main thread before any source exists.
#pragma once

#include "tallyd/sources/ReplaySource.h"

#include <cstdint>
#include <string>
#include <variant>

#include <tl/expected.hpp>

namespace brindle::tallyd {

struct NflogGroupPlan {
    std::uint16_t group = 0;
};
struct PflogInterfacePlan {
    std::string interface;
};

using SourcePlan = std::variant<ReplayPlan, NflogGroupPlan, PflogInterfacePlan>;

/// `spec`: "nflog:GROUP", "pflog:IFACE" or "replay:FILE[@SPEED[,loop]]". Nothing is opened: whether
/// there is such a device or file is not asked. Error: one line that names the text and what is
/// wrong with it.
tl::expected<SourcePlan, std::string> parseSourceSpec(const std::string& spec);

} // namespace brindle::tallyd
