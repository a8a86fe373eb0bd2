// SPDX-License-Identifier: BSD-2-Clause
#include "vardex/apply/Ruleset.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>

#include <nftables/libnftables.h>

namespace brindle::vardex {
namespace {

std::string setText(const char* name, const char* type, IpAddress::Family family,
                    const std::vector<AddressBlock>& blocks) {
    std::string text =
        std::string("  set ") + name + " {\n    type " + type + "; flags interval; counter;\n";
    bool first = true;
    for (const AddressBlock& block : blocks) {
        if (block.family() != family)
            continue;
        text += first ? "    elements = { " : ", ";
        first = false;
        text += block.text();
    }
    return text + (first ? "  }\n" : " }\n  }\n");
}

/// `sides`: "saddr", "daddr", or both where traffic only passes through.
std::string chainText(const char* hook, std::initializer_list<const char*> sides,
                      const std::string& verdict) {
    // Before the filter chains of others: what they log or accept is what is left.
    std::string text = std::string("  chain ") + hook + " {\n    type filter hook " + hook +
                       " priority filter - 10; policy accept;\n";
    for (const char* side : sides) {
        text += std::string("    ip ") + side + " @blacklist4" + verdict;
        text += std::string("    ip6 ") + side + " @blacklist6" + verdict;
    }
    return text + "  }\n";
}

struct ContextEnd {
    void operator()(nft_ctx* context) const { nft_ctx_free(context); }
};

std::string firstLine(const char* text) {
    const std::string_view all = text == nullptr ? "" : text;
    return std::string(all.substr(0, all.find('\n')));
}

} // namespace

std::string rulesetText(const std::vector<AddressBlock>& blocks, std::uint16_t logGroup) {
    const std::string verdict = std::string(" log prefix \"") + kLogPrefix + "\" group " +
                                std::to_string(logGroup) + " counter drop\n";
    // A table that is not there cannot be deleted, so it is made first.
    return "add table inet vardex\ndelete table inet vardex\ntable inet vardex {\n" +
           setText("blacklist4", "ipv4_addr", IpAddress::Family::v4, blocks) +
           setText("blacklist6", "ipv6_addr", IpAddress::Family::v6, blocks) +
           chainText("input", {"saddr"}, verdict) + chainText("output", {"daddr"}, verdict) +
           chainText("forward", {"saddr", "daddr"}, verdict) + "}\n";
}

tl::expected<void, std::string> applyRuleset(const std::string& text) {
    const std::unique_ptr<nft_ctx, ContextEnd> context(nft_ctx_new(NFT_CTX_DEFAULT));
    if (!context)
        return tl::unexpected(std::string("the packet filter cannot be reached: ") +
                              std::strerror(errno));
    nft_ctx_buffer_error(context.get());
    nft_ctx_buffer_output(context.get());
    if (nft_run_cmd_from_buffer(context.get(), text.c_str()) != 0) {
        const std::string why = firstLine(nft_ctx_get_error_buffer(context.get()));
        return tl::unexpected(why.empty() ? "the packet filter does not take the rules" : why);
    }
    return {};
}

} // namespace brindle::vardex
