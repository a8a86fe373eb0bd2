// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/sources/SourceSpec.h"

#include "tallyd/sources/CaptureInput.h"

#include <array>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <string_view>
#include <system_error>

#include <fmt/format.h>

namespace brindle::tallyd {

namespace {

using Parsed = tl::expected<SourcePlan, std::string>;

/// Recordings have an end; a live source is for what has none.
tl::unexpected<std::string> recordingGiven(std::string_view text) {
    return tl::unexpected(fmt::format(
        "{} is a recording; \"replay:\" plays one, and recordings can be imported", text));
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

bool isCapture(const std::string& path) {
    std::array<char, 4> start{};
    std::ifstream file(path, std::ios::binary);
    file.read(start.data(), start.size());
    return CaptureInput::recognises({start.data(), static_cast<std::size_t>(file.gcount())});
}

Parsed parseFollowed(LineKind kind, const std::string& text) {
    std::error_code ignored;
    if (text.empty() || text == "-")
        return tl::unexpected(std::string("no file is named"));
    // A file of the name is "./journal".
    if (kind == LineKind::netfilter && text == "journal")
        return KernelJournalPlan{};
    if (kind == LineKind::netfilter && text == "/dev/kmsg")
        return KernelBufferPlan{};
    if (std::filesystem::is_directory(text, ignored))
        return tl::unexpected(fmt::format("{} is a folder", text));
    if (std::filesystem::is_regular_file(text, ignored) && isCapture(text))
        return recordingGiven(text);
    return FollowedLogPlan{kind, text};
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
    if (kind == "netfilter")
        return parseFollowed(LineKind::netfilter, text);
    if (kind == "filterlog")
        return parseFollowed(LineKind::filterlog, text);
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
