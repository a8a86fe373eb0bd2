// SPDX-License-Identifier: BSD-2-Clause
//
// What the companion is started with, by a person, by the viewer, or by a second start. Pure; any
// thread.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace brindle::vardex {

struct Arguments {
    /// No window until something asks for one.
    bool hidden = false;
    /// "blacklist" was given: it is the viewer that starts us, so it runs already.
    bool byViewer = false;
    std::vector<std::string> blackList; ///< texts to be put on the list, unchecked

    /// `texts`: without the program's own name. Nothing when they are not understood.
    static std::optional<Arguments> parse(const std::vector<std::string>& texts);
};

} // namespace brindle::vardex
