// SPDX-License-Identifier: BSD-2-Clause
//
// A local user as rows show him. Listed once at start-up; a plain value.
#pragma once

#include "core/log/records/Picture.h"

#include <cstdint>
#include <string>

namespace brindle {

struct VDXSystemUser {
    std::int64_t posixID = 0;
    std::string posixName;
    Picture smallRoundImage;
};

} // namespace brindle
