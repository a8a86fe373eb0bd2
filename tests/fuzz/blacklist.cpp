// SPDX-License-Identifier: BSD-2-Clause
//
// The black list in its forms: what the helper is told as root, the file, a text to import; and the
// system's own files that the guard learns its addresses from.
#include "vardex/list/BlackList.h"
#include "tests/fuzz/Target.h"
#include "vardex/apply/ApplyInput.h"
#include "vardex/apply/Ruleset.h"

#include <algorithm>

namespace {

using namespace brindle;
using namespace brindle::vardex;

bool areApart(const std::vector<AddressBlock>& blocks) {
    for (std::size_t i = 1; i < blocks.size(); ++i)
        if (!(blocks[i - 1].last() < blocks[i].first()))
            return false;
    return true;
}

/// One short line of what a terminal shows as it is.
bool isPlain(const std::string& text) {
    return text.size() < 400 &&
           std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c < '\x7f'; });
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text = test::textOf(data, size);
    MachineAddresses machine{.own = {*IpAddress::parse("192.0.2.1")},
                             .gateways = gatewaysOfRoutes(text),
                             .nameServers = nameServersOf(text)};
    for (const IpAddress& gateway : gatewaysOfIpv6Routes(text))
        machine.gateways.push_back(gateway);

    const ApplyInput input = checkInput(text, machine);
    test::require(areApart(input.blocks));
    test::require(std::all_of(input.refused.begin(), input.refused.end(), isPlain));
    // Nothing but the ruleset's own words and addresses written anew reaches the packet filter.
    const std::string rules = rulesetText(input.blocks, kDefaultLogGroup);
    test::require(std::all_of(rules.begin(), rules.end(), [](char c) {
        return c == '\n' || c == '\t' || (c >= ' ' && c < 127);
    }));

    const ReadList read = readFileText(text);
    const ReadList again = readFileText(fileText(read.list));
    test::require(again.unreadableLines == 0 && again.list == read.list);

    BlackList imported;
    addBlocks(imported, blocksOfText(text).blocks, 1'700'000'000, Insistence::none);
    test::require(blocksOfText(exportText(imported)).blocks.size() == imported.size());
    // What the list hands over is what the helper takes, but for what the guard refuses.
    const ApplyInput applied = checkInput(applyText(read.list), machine);
    test::require(applied.blocks.size() + applied.refused.size() <= read.list.size());
    return 0;
}
