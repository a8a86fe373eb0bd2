// SPDX-License-Identifier: BSD-2-Clause
#include "vardex/companion/Arguments.h"

namespace brindle::vardex {

std::optional<Arguments> Arguments::parse(const std::vector<std::string>& texts) {
    Arguments arguments;
    for (auto text = texts.begin(); text != texts.end(); ++text) {
        if (*text == "doNotShowMainWindowOnStartup") {
            arguments.hidden = true;
        } else if (*text == "blacklist") {
            arguments.byViewer = true;
            arguments.blackList.assign(text + 1, texts.end());
            break;
        } else {
            return std::nullopt;
        }
    }
    return arguments;
}

} // namespace brindle::vardex
