// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/sources/SourceSpec.h"

#include "tallyd/sources/CaptureInput.h"

#include <charconv>
#include <filesystem>
#include <fstream>
#include <string_view>
#include <system_error>
#include <utility>

#include <fmt/format.h>

namespace brindle::tallyd {

namespace {

using Parsed = tl::expected<SourcePlan, std::string>;

tl::unexpected<std::string> mistake(std::string text) {
    return tl::unexpected(std::move(text));
}

bool isFileName(const std::string& text) {
    std::error_code ignored;
    return text.find('/') != text.npos || std::filesystem::exists(text, ignored);
}

/// The first bytes of a file; empty when there is none yet, or nothing in it.
std::string startOf(const std::string& path) {
    std::error_code ignored;
    if (!std::filesystem::is_regular_file(path, ignored))
        return {};
    std::string start(4, '\0');
    std::ifstream file(path, std::ios::binary);
    file.read(start.data(), static_cast<std::streamsize>(start.size()));
    start.resize(static_cast<std::size_t>(file.gcount()));
    return start;
}

Parsed parseCapture(CaptureKind kind, const std::string& path) {
    std::error_code ignored;
    if (std::filesystem::is_directory(path, ignored))
        return mistake(fmt::format("{} is a folder", path));
    if (const std::string start = startOf(path); !start.empty() && !CaptureFraming::stampsOf(start))
        return mistake(fmt::format("{} is not a pcap file in this machine's byte order; others can "
                                   "be imported, and played by \"replay:\"",
                                   path));
    return FollowedCapturePlan{kind, path};
}

Parsed parseNflog(const std::string& text) {
    std::uint16_t group = 0;
    const char* const end = text.data() + text.size();
    const auto [last, problem] = std::from_chars(text.data(), end, group);
    if (!text.empty() && problem == std::errc() && last == end)
        return NflogGroupPlan{group};
    if (isFileName(text))
        return parseCapture(CaptureKind::nflog, text);
    return mistake(fmt::format("the group \"{}\" is not a number from 0 to 65535", text));
}

Parsed parsePflog(const std::string& text) {
    if (text.empty())
        return mistake("no interface is named");
    if (isFileName(text))
        return parseCapture(CaptureKind::pflog, text);
    if (text.find_first_of(": \t") != text.npos)
        return mistake(fmt::format("\"{}\" cannot be the name of an interface", text));
    return PflogInterfacePlan{text};
}

Parsed parseLog(LineKind kind, const std::string& text) {
    std::error_code ignored;
    if (text.empty() || text == "-")
        return mistake("no file is named");
    // A file of the name is "./journal".
    if (kind == LineKind::netfilter && text == "journal")
        return KernelJournalPlan{};
    if (kind == LineKind::netfilter && text == "/dev/kmsg")
        return KernelBufferPlan{};
    if (std::filesystem::is_directory(text, ignored))
        return mistake(fmt::format("{} is a folder", text));
    if (CaptureInput::recognises(startOf(text)))
        return mistake(fmt::format("{} is a capture, not a text log", text));
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
        return parseLog(LineKind::netfilter, text);
    if (kind == "filterlog")
        return parseLog(LineKind::filterlog, text);
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
