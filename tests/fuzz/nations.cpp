// SPDX-License-Identifier: BSD-2-Clause
//
// The nation database: a property list of block texts, and each block as it is matched.
#include "core/net/IpRange.h"
#include "platform/plist/TextArrays.h"
#include "tests/fuzz/Target.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace brindle;
    const auto lists = platform::parseTextArrays(test::textOf(data, size));
    if (!lists || !*lists)
        return 0;
    for (const platform::TextArrayEntry& entry : **lists)
        for (std::size_t i = 0; i < entry.texts.size(); ++i)
            if (const auto block = matchRange(entry.texts[i]))
                test::require(block->first <= block->last);
    return 0;
}
