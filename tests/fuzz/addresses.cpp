// SPDX-License-Identifier: BSD-2-Clause
//
// Addresses, blocks and ports as people type them and as messages on the session bus carry them. Of
// two lines each is read; together they are put in order.
#include "core/exclusions/ExclusionFromText.h"
#include "core/net/DecimalText.h"
#include "core/net/NWKIPTools.h"
#include "core/net/NumericTextOrder.h"
#include "core/net/VDMatchIP.h"
#include "tests/fuzz/Target.h"
#include "vardex/list/BlackList.h"

#include <string>

namespace {

using namespace brindle;

void read(std::string_view text) {
    if (const auto address = IpAddress::parse(text))
        test::require(IpAddress::parse(address->text()) == *address);
    if (const auto block = vardex::AddressBlock::parse(text)) {
        test::require(vardex::AddressBlock::parse(block->text()) == *block);
        test::require(block->first() <= block->last() && block->overlaps(*block));
    }
    const auto listed = vardex::blocksOfTexts({std::string(text)});
    test::require(listed.blocks.size() + listed.notUnderstood.size() == 1);

    if (const auto typed = VDAddress::fromText(text)) {
        test::require(typed->address == text);
        test::require(typed->version == 4 ? typed->min4 <= typed->max4
                                          : typed->min6 <= typed->max6);
    }
    const auto exclusion = exclusionFromText(text);
    if (const auto* entry = std::get_if<VDXExclusion>(&exclusion))
        test::require(!entry->type.empty() && !entry->exclusion.empty());

    if (const auto number = canonicalQuad(text))
        test::require(addressFromNumber(*number).text() == text);
    ipv4NumberLoose(text);
    ipv6Block(text);
    if (const auto range = matchRange(text)) {
        test::require(range->first <= range->last);
        const VDMatchIP matcher;
        test::require(matcher.matchIP(addressFromNumber(range->first).text(), text));
        test::require(matcher.matchIP(addressFromNumber(range->last).text(), text));
    }
    const NWKIPTools tools;
    tools.isValidIPV6cidr(text);
    tools.ipv4intconverter(text);
    if (const auto range = tools.rangeFromIPV4cidr(text))
        test::require(range->first <= range->last);
    if (const auto range = tools.rangeFromIPV6cidr(text))
        test::require(range->first <= range->last);
    decimalInteger(text);
    looseInteger(text);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text = test::textOf(data, size);
    const std::size_t middle = std::min(text.find('\n'), text.size());
    const std::string_view first = text.substr(0, middle);
    const std::string_view second = text.substr(std::min(middle + 1, text.size()));
    read(first);
    read(second);
    VDMatchIP().matchIP(first, second);
    VDMatchIP().matchIPV6(first, second);
    // The keys order as the texts do, in both directions.
    const auto order = numericTextOrder(first, second);
    const int keys = numericOrderKey(first).compare(numericOrderKey(second));
    test::require((order < 0) == (keys < 0) && (order > 0) == (keys > 0));
    test::require((numericTextOrder(second, first) > 0) == (order < 0));
    return 0;
}
