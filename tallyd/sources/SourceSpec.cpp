// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/sources/SourceSpec.h"

#include <charconv>
#include <filesystem>
#include <string_view>
#include <system_error>

#include <fmt/format.h>

namespace brindle::tallyd {

namespace {

using Parsed = tl::expected<SourcePlan, std::string>;

/// Recordings have an end; a live source is for what has none.
tl::unexpected<std::string> recordingGiven(std::string_view text) {
    return tl::unexpected(fmt::format(
        "{} is a file; \"replay:\" plays a recording, and recordings can be imported", text));
}

Parsed parseNflog(const std::string& text) {
    std::error_code ignored;
    std::uint16_t group = 0;
    const char* const end = text.data() + text.size();
    const auto [last, problem] = std::from_chars(text.data(), end, group);
    if (!text.empty() && problem == std::errc() && last == end)
        return NflogGroupPlan{group};
    if (std::filesystem::exists(text, ignored))
        return recordingGiven(text);
    return tl::unexpected(fmt::format("the group \"{}\" is not a number from 0 to 65535", text));
}

Parsed parsePflog(const std::string& text) {
    std::error_code ignored;
    if (text.empty())
        return tl::unexpected(std::string("no interface is named"));
    if (std::filesystem::exists(text, ignored))
        return recordingGiven(text);
    if (text.find_first_of("/: \t") != text.npos)
        return tl::unexpected(fmt::format("\"{}\" cannot be the name of an interface", text));
    return PflogInterfacePlan{text};
}

Parsed parseReplay(const std::string& text) {
    auto plan = ReplayPlan::parse(text);
    if (!plan)
        return tl::unexpected(plan.error());
    return std::move(*plan);
}

Parsed parse(std::string_view kind, const std::string& text) {
    if (kind == "replay")
        return parseReplay(text);
    if (kind == "nflog")
        return parseNflog(text);
    if (kind == "pflog")
        return parsePflog(text);
    for (const std::string_view planned : {"netfilter", "filterlog"})
        if (kind == planned)
            return tl::unexpected(
                fmt::format("this build cannot follow a live {} source; \"replay:\" "
                            "plays a recording, and recordings can be imported",
                            kind));
    return tl::unexpected(fmt::format("there is no source of the kind \"{}\"", kind));
}

} // namespace

tl::expected<SourcePlan, std::string> parseSourceSpec(const std::string& spec) {
    const std::size_t colon = spec.find(':');
    const auto plan =
        colon == spec.npos
            ? tl::unexpected(std::string("a kind and a colon are expected, as in replay:FILE"))
            : parse(std::string_view(spec).substr(0, colon), spec.substr(colon + 1));
    if (!plan)
        return tl::unexpected(fmt::format("source \"{}\": {}", spec, plan.error()));
    return plan;
}

} // namespace brindle::tallyd
