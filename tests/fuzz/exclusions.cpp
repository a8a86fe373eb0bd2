// SPDX-License-Identifier: BSD-2-Clause
//
// The exclusion list as the defaults file holds it, and the lists derived from it.
#include "core/exclusions/ExclusionMatcher.h"
#include "core/exclusions/StoredExclusions.h"
#include "tests/fuzz/Target.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace brindle;
    const auto list = platform::parsePropertyList(test::textOf(data, size));
    if (!list)
        return 0;
    const auto exclusions = exclusionsFromStored(*list);
    if (!exclusions)
        return 0;
    const ExclusionMatcher matcher(deriveExclusionLists(*exclusions));
    for (const char* address : {"192.0.2.7", "2001:db8::7", ""})
        matcher.isExcluded(address, "443", address, "80", 4);
    // What is written is read again.
    const auto again =
        platform::parsePropertyList(platform::propertyListXml(storedExclusions(*exclusions)));
    test::require(again.has_value() && exclusionsFromStored(*again).has_value());
    return 0;
}
