// SPDX-License-Identifier: BSD-2-Clause
//
// vardex-apply: makes the addresses on standard input the packet filter's black list. Run with the
// rights of root for someone who need not be root, so it believes nothing it is told: bounded
// input, every address checked and written anew, no shell, no file of the caller's, no
// configuration.

#include "vardex/apply/ApplyInput.h"
#include "vardex/apply/Ruleset.h"
#include "vardex/guard/MachineAddresses.h"

#include <charconv>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

#include <unistd.h>

namespace {

using namespace brindle::vardex;

constexpr int kApplied = 0;
constexpr int kNotAllApplied = 1;
constexpr int kWrongUsage = 2;

constexpr const char* kUsage =
    "usage: vardex-apply [--check] [--group GROUP] < ADDRESSES\n"
    "Makes the addresses and blocks on standard input, one a line, the packet filter's black\n"
    "list: what comes from them or goes to them is logged, counted and dropped.\n"
    "  --check        says what would be refused, and changes nothing\n"
    "  --group GROUP  the netfilter log group that hears of dropped packets (5)\n"
    "A line that begins with \"force \" is taken although the address is the machine's own, its\n"
    "gateway, its name server, or no ordinary one.\n"
    "Ends with 0 when all were applied, 1 when some or all were not, 2 when used wrongly.\n";

struct Options {
    bool checkOnly = false;
    std::uint16_t group = kDefaultLogGroup;
};

std::optional<Options> optionsOf(int count, char** arguments) {
    Options options;
    for (int i = 1; i < count; ++i) {
        const std::string_view argument = arguments[i];
        if (argument == "--check") {
            options.checkOnly = true;
        } else if (argument == "--group" && i + 1 < count) {
            const char* const text = arguments[++i];
            const char* const end = text + std::strlen(text);
            const auto [rest, error] = std::from_chars(text, end, options.group);
            if (error != std::errc() || rest != end)
                return std::nullopt;
        } else {
            return std::nullopt;
        }
    }
    return options;
}

int notApplied(const std::string& why) {
    std::fprintf(stderr, "not applied: %s\n", why.c_str());
    return kNotAllApplied;
}

} // namespace

int main(int argc, char** argv) {
    if (argc == 2 && (std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0)) {
        std::fputs(kUsage, stdout);
        return kApplied;
    }
    const auto options = optionsOf(argc, argv);
    if (!options) {
        std::fputs(kUsage, stderr);
        return kWrongUsage;
    }
    const auto text = readBounded(STDIN_FILENO);
    if (!text)
        return notApplied(text.error());
    const ApplyInput input = checkInput(*text, MachineAddresses::current());
    for (const std::string& line : input.refused)
        std::fprintf(stderr, "%s\n", line.c_str());
    if (!options->checkOnly)
        if (const auto applied = applyRuleset(rulesetText(input.blocks, options->group)); !applied)
            return notApplied(applied.error());
    return input.refused.empty() ? kApplied : kNotAllApplied;
}
