// SPDX-License-Identifier: BSD-2-Clause
//
// The nation database: a property list of block texts, each block as it is matched, and the general
// reader's answer beside the quick one's.
#include "core/net/IpRange.h"
#include "platform/plist/PropertyList.h"
#include "platform/plist/TextArrays.h"
#include "tests/fuzz/Target.h"

namespace {

using namespace brindle;

/// What the general reader made of it says the same: a dictionary keeps the last of equal keys.
void requireSame(const platform::TextArrays& lists, const platform::PropertyList& general) {
    const auto* dictionary = general.asDictionary();
    test::require(dictionary != nullptr);
    for (const platform::TextArrayEntry& entry : lists) {
        const platform::PropertyList::Array* texts = nullptr;
        for (const auto& [key, value] : *dictionary)
            if (key == entry.key)
                texts = value.asArray();
        test::require(texts != nullptr && texts->size() == entry.texts.size());
        for (std::size_t i = 0; i < texts->size(); ++i)
            test::require((*texts)[i].asString() != nullptr &&
                          *(*texts)[i].asString() == entry.texts[i]);
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto lists = platform::parseTextArrays(test::textOf(data, size));
    const auto general = platform::parsePropertyList(test::textOf(data, size));
    if (!lists || !*lists)
        return 0;
    test::require(general.has_value());
    requireSame(**lists, *general);
    for (const platform::TextArrayEntry& entry : **lists)
        for (std::size_t i = 0; i < entry.texts.size(); ++i)
            if (const auto block = matchRange(entry.texts[i]))
                test::require(block->first <= block->last);
    return 0;
}
